#include "capture/pipewire/pipewire_capture_stream.h"

#include <pipewire/pipewire.h>
#include <spa/buffer/meta.h>
#include <spa/debug/types.h>
#include <spa/param/video/format-utils.h>
#include <spa/param/video/type-info.h>
#include <spa/utils/result.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "capture/capture_error.h"
#include "capture/memory_frame_scaler.h"
#include "capture/minimum_interval.h"
#include "capture/pipewire/screen_cast_portal.h"
#include "capture/pipewire/screen_cast_restore_token.h"
#include "capture/pipewire/shared_monitor_match.h"
#include "capture/serial_queue.h"
#include "support/change_pacer.h"

namespace tarvelo {

namespace {

// 2 x 2 box samples per output pixel and axis, as the X11 capture takes them.
constexpr std::int64_t kSamplesX = 4;
constexpr std::int64_t kSamplesY = 2;
constexpr std::chrono::seconds kConnectTimeout{10};
constexpr int kBuffers = 3;
// Damage comes as at most this many rectangles a picture; a compositor with
// more to say sends their bounds.
constexpr int kDamageRegions = 16;

void initPipeWireOnce() {
  static std::once_flag once;
  std::call_once(once, [] { pw_init(nullptr, nullptr); });
}

std::optional<MemoryPixelOrder> pixelOrderOf(spa_video_format format) {
  switch (format) {
    case SPA_VIDEO_FORMAT_BGRx: return MemoryPixelOrder::bgrx;
    case SPA_VIDEO_FORMAT_BGRA: return MemoryPixelOrder::bgra;
    case SPA_VIDEO_FORMAT_RGBx: return MemoryPixelOrder::rgbx;
    case SPA_VIDEO_FORMAT_RGBA: return MemoryPixelOrder::rgba;
    default: return std::nullopt;
  }
}

}  // namespace

struct PipeWireCaptureStream::Shared : std::enable_shared_from_this<Shared> {
  Shared(CaptureStreamDelegate& streamDelegate, const StreamConfiguration& configuration)
      : delegate(streamDelegate),
        scaler(configuration.width, configuration.height, kSamplesX, kSamplesY),
        pacer(minimumIntervalOf(configuration.minimumFrameInterval)) {}

  CaptureStreamDelegate& delegate;
  std::shared_ptr<SerialQueue> queue;
  std::atomic<bool> isStopped = false;
  std::unique_ptr<ScreenCastPortal> portal;  // the session lives as long as the share

  // Guards the PipeWire objects' existence against delivery jobs that outlive them.
  std::mutex pipeWireMutex;
  bool isPipeWireAlive = false;
  pw_thread_loop* loop = nullptr;
  pw_context* context = nullptr;
  pw_core* core = nullptr;
  pw_stream* stream = nullptr;
  pw_registry* registry = nullptr;  // tells when the shared screen's node goes
  std::uint32_t sharedNode = 0;
  spa_hook coreListener{};
  spa_hook registryListener{};
  spa_hook streamListener{};
  spa_source* timer = nullptr;
  spa_source* kick = nullptr;

  // On the PipeWire thread (under its lock) from here on.
  // The sequence number of the last picture taken: a picture's damage tells
  // only what changed since the picture right before it.
  std::optional<std::uint64_t> lastSequence;
  std::vector<PixelRect> damage;
  std::optional<MemoryPixelOrder> order;
  std::int64_t width = 0;
  std::int64_t height = 0;
  MemoryFrameScaler scaler;
  std::optional<Frame> held;  // the newest picture, scaled (in the scaler's frame), not yet delivered
  ChangePacer pacer;
  pw_stream_state state = PW_STREAM_STATE_UNCONNECTED;
  std::string failure;  // why the stream or the connection failed
  bool hasStreamed = false;

  void take(pw_buffer* buffer);
  bool followsTheLastPicture(const spa_buffer& buffer);
  bool readDamage(spa_buffer& buffer);
  void deliverIfDue();
  void end(std::string reason);
};

namespace {

void onStreamStateChanged(void* data, pw_stream_state, pw_stream_state state, const char* error) {
  auto& shared = *static_cast<PipeWireCaptureStream::Shared*>(data);
  shared.state = state;
  if (state == PW_STREAM_STATE_ERROR) shared.failure = error != nullptr ? error : "the stream failed";
  if (state == PW_STREAM_STATE_STREAMING) shared.hasStreamed = true;
  if (shared.hasStreamed && (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED)) {
    shared.end("the shared screen is no longer shared (" + (shared.failure.empty() ? std::string("disconnected")
                                                                                    : shared.failure) + ")");
  }
  pw_thread_loop_signal(shared.loop, false);
}

void onStreamParamChanged(void* data, uint32_t id, const spa_pod* param) {
  auto& shared = *static_cast<PipeWireCaptureStream::Shared*>(data);
  if (param == nullptr || id != SPA_PARAM_Format) return;
  spa_video_info_raw info{};
  if (spa_format_video_raw_parse(param, &info) < 0) return;
  shared.order = pixelOrderOf(info.format);
  shared.width = info.size.width;
  shared.height = info.size.height;

  // Shared memory only: the pictures are read by the CPU, a few samples each.
  // Three buffers at least: with two, a producer that finds both on their way
  // to us while our thread is late (a busy machine) drops the picture, and the
  // wlroots portal then stops casting altogether. With each picture, where
  // the compositor gives them: its crop, what changed since the last one
  // (damage), and its sequence number, which tells whether that last one is
  // the one we read.
  std::uint8_t storage[1024];
  spa_pod_builder builder = SPA_POD_BUILDER_INIT(storage, sizeof(storage));
  const spa_pod* params[4];
  params[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
      &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
      SPA_POD_CHOICE_RANGE_Int(kBuffers, kBuffers, 8), SPA_PARAM_BUFFERS_dataType,
      SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemFd) | (1 << SPA_DATA_MemPtr))));
  params[1] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
      &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_VideoCrop),
      SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_region))));
  constexpr int kRegionSize = sizeof(spa_meta_region);
  params[2] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
      &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_VideoDamage),
      SPA_PARAM_META_size,
      SPA_POD_CHOICE_RANGE_Int(kRegionSize * kDamageRegions, kRegionSize, kRegionSize * kDamageRegions)));
  params[3] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
      &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header),
      SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_header))));
  pw_stream_update_params(shared.stream, params, 4);
}

void onStreamProcess(void* data) {
  auto& shared = *static_cast<PipeWireCaptureStream::Shared*>(data);
  // Only the newest picture matters; older ones go straight back.
  pw_buffer* newest = nullptr;
  while (pw_buffer* buffer = pw_stream_dequeue_buffer(shared.stream)) {
    const spa_data& plane = buffer->buffer->datas[0];
    const bool hasPicture = plane.data != nullptr && plane.chunk != nullptr && plane.chunk->size > 0 &&
                            (plane.chunk->flags & SPA_CHUNK_FLAG_CORRUPTED) == 0;
    if (newest != nullptr && hasPicture) pw_stream_queue_buffer(shared.stream, newest);
    if (hasPicture) {
      newest = buffer;
    } else {
      pw_stream_queue_buffer(shared.stream, buffer);
    }
  }
  if (newest == nullptr) return;
  shared.take(newest);
  shared.deliverIfDue();
}

void onCoreError(void* data, uint32_t id, int, int result, const char* message) {
  auto& shared = *static_cast<PipeWireCaptureStream::Shared*>(data);
  if (id != PW_ID_CORE) return;
  shared.failure = std::string(message != nullptr ? message : spa_strerror(result));
  if (shared.hasStreamed) shared.end("the connection to PipeWire was lost (" + shared.failure + ")");
  pw_thread_loop_signal(shared.loop, false);
}

// When the user stops sharing from the desktop's indicator, or the shared
// output goes, the portal removes the screen's node; our stream only falls
// idle (paused, not unconnected), so the node's removal is what tells.
void onGlobalRemoved(void* data, uint32_t id) {
  auto& shared = *static_cast<PipeWireCaptureStream::Shared*>(data);
  if (id != shared.sharedNode) return;
  shared.failure = "the desktop stopped sharing the screen";
  if (shared.hasStreamed) shared.end(shared.failure);
  pw_thread_loop_signal(shared.loop, false);
}

void onTimer(void* data, uint64_t) { static_cast<PipeWireCaptureStream::Shared*>(data)->deliverIfDue(); }
void onKick(void* data, uint64_t) { static_cast<PipeWireCaptureStream::Shared*>(data)->deliverIfDue(); }

const pw_stream_events kStreamEvents = [] {
  pw_stream_events events{};
  events.version = PW_VERSION_STREAM_EVENTS;
  events.state_changed = onStreamStateChanged;
  events.param_changed = onStreamParamChanged;
  events.process = onStreamProcess;
  return events;
}();

const pw_registry_events kRegistryEvents = [] {
  pw_registry_events events{};
  events.version = PW_VERSION_REGISTRY_EVENTS;
  events.global_remove = onGlobalRemoved;
  return events;
}();

const pw_core_events kCoreEvents = [] {
  pw_core_events events{};
  events.version = PW_VERSION_CORE_EVENTS;
  events.error = onCoreError;
  return events;
}();

}  // namespace

// On the PipeWire thread: scales a new picture at once and gives its buffer
// back before the callback returns, so only the small frame waits for its
// delivery slot. Holding the buffer instead would save the scaling of pictures
// that are never delivered, but a producer with two buffers (the wlroots
// portal) stops casting for good when it finds neither free.
void PipeWireCaptureStream::Shared::take(pw_buffer* buffer) {
  std::optional<std::string> unreadable;
  try {
    if (!order) throw std::runtime_error("the compositor shares pixels in a format Tarvelo cannot read");
    const spa_data& plane = buffer->buffer->datas[0];
    const std::int64_t bytesPerRow = plane.chunk->stride > 0 ? plane.chunk->stride : width * 4;
    const std::int64_t available = static_cast<std::int64_t>(plane.maxsize) - plane.chunk->offset;
    if (width <= 0 || height <= 0 || bytesPerRow < width * 4 || bytesPerRow * height > available) {
      throw std::runtime_error("the compositor shared a picture smaller than it said");
    }
    const MappedPicture picture{static_cast<const std::uint8_t*>(plane.data) + plane.chunk->offset, width, height,
                                bytesPerRow, *order};
    PixelRect source{0, 0, width, height};
    if (auto* crop = static_cast<spa_meta_region*>(
            spa_buffer_find_meta_data(buffer->buffer, SPA_META_VideoCrop, sizeof(spa_meta_region)));
        crop != nullptr && spa_meta_region_is_valid(crop)) {
      const PixelRect cropped{crop->region.position.x, crop->region.position.y, crop->region.size.width,
                              crop->region.size.height};
      if (cropped.x >= 0 && cropped.y >= 0 && cropped.x + cropped.width <= width &&
          cropped.y + cropped.height <= height) {
        source = cropped;
      }
    }
    if (followsTheLastPicture(*buffer->buffer) && readDamage(*buffer->buffer)) {
      // Damage outside what we share changes nothing we show.
      if (const std::optional<Frame> frame = scaler.rescale(picture, source, damage)) {
        held = *frame;
        pacer.noteChange();
      }
    } else {
      held = scaler.scale(picture, source);
      pacer.noteChange();
    }
  } catch (const std::exception& error) {
    unreadable = error.what();
  }
  pw_stream_queue_buffer(stream, buffer);
  if (unreadable) end(*unreadable);
}

// Whether the picture is the one right after the last picture taken: a gap
// means one went by unread (given back for a newer one, or without pixels),
// and its damage with it. Notes it as the last.
bool PipeWireCaptureStream::Shared::followsTheLastPicture(const spa_buffer& buffer) {
  const auto* header = static_cast<const spa_meta_header*>(
      spa_buffer_find_meta_data(&buffer, SPA_META_Header, sizeof(spa_meta_header)));
  const std::optional<std::uint64_t> previous = lastSequence;
  lastSequence = header != nullptr ? std::optional<std::uint64_t>(header->seq) : std::nullopt;
  return header != nullptr && previous && header->seq == *previous + 1;
}

// Reads the picture's damage into `damage`; false when it has none to tell
// (no damage metadata, or not one region in it), so all of it may be new.
bool PipeWireCaptureStream::Shared::readDamage(spa_buffer& buffer) {
  damage.clear();
  spa_meta* meta = spa_buffer_find_meta(&buffer, SPA_META_VideoDamage);
  if (meta == nullptr) return false;
  spa_meta_region* region = nullptr;
  spa_meta_for_each(region, meta) {
    if (!spa_meta_region_is_valid(region)) break;
    damage.push_back(PixelRect{region->region.position.x, region->region.position.y, region->region.size.width,
                               region->region.size.height});
  }
  return !damage.empty();
}

// On the PipeWire thread: delivers the held frame on the output queue when the
// pacer allows, or sets the timer for when it will. One delivery is in flight
// at a time.
void PipeWireCaptureStream::Shared::deliverIfDue() {
  if (!held || isStopped) return;
  const ChangePacer::Clock::time_point now = ChangePacer::Clock::now();
  if (!pacer.isDue(now)) {
    if (const auto due = pacer.dueTime()) {
      const auto wait = std::chrono::duration_cast<std::chrono::nanoseconds>(*due - now);
      timespec value{};
      value.tv_sec = static_cast<time_t>(wait.count() / 1'000'000'000);
      value.tv_nsec = static_cast<long>(wait.count() % 1'000'000'000);
      if (value.tv_sec == 0 && value.tv_nsec == 0) value.tv_nsec = 1;
      pw_loop_update_timer(pw_thread_loop_get_loop(loop), timer, &value, nullptr, false);
    }
    return;
  }
  Frame frame = *held;
  held.reset();
  std::vector<std::uint8_t> pixels(frame.bytes, frame.bytes + frame.bytesPerRow * frame.height);
  pacer.started(now);
  queue->post([self = shared_from_this(), pixels = std::move(pixels), frame]() mutable {
    if (!self->isStopped) {
      frame.bytes = pixels.data();
      self->delegate.streamDidOutputSampleBuffer(SampleBuffer{StreamOutputType::screen, &frame});
    }
    const std::lock_guard guard(self->pipeWireMutex);
    if (!self->isPipeWireAlive) return;
    pw_thread_loop_lock(self->loop);
    self->pacer.finished();
    pw_loop_signal_event(pw_thread_loop_get_loop(self->loop), self->kick);
    pw_thread_loop_unlock(self->loop);
  });
}

// The stream ends by itself: reported once, on the output queue, unless the owner stopped it first.
void PipeWireCaptureStream::Shared::end(std::string reason) {
  queue->post([self = shared_from_this(), reason = std::move(reason)] {
    if (self->isStopped.exchange(true)) return;
    self->delegate.streamDidStopWithError(std::runtime_error(reason));
  });
}

PipeWireCaptureStream::PipeWireCaptureStream(const StreamConfiguration& configuration,
                                             CaptureStreamDelegate& delegate,
                                             std::shared_ptr<RestoreTokenStore> restoreTokens,
                                             std::vector<OnlineDisplay> displays)
    : configuration_(configuration),
      restoreTokens_(std::move(restoreTokens)),
      displays_(std::move(displays)),
      shared_(std::make_shared<Shared>(delegate, configuration)) {}

namespace {

void tearDown(PipeWireCaptureStream::Shared& shared) {
  const std::lock_guard guard(shared.pipeWireMutex);
  shared.isPipeWireAlive = false;
  if (shared.loop == nullptr) return;
  pw_thread_loop_stop(shared.loop);  // no callback runs after this
  if (shared.stream != nullptr) pw_stream_destroy(shared.stream);
  shared.stream = nullptr;
  if (shared.registry != nullptr) pw_proxy_destroy(reinterpret_cast<pw_proxy*>(shared.registry));
  shared.registry = nullptr;
  if (shared.core != nullptr) pw_core_disconnect(shared.core);
  shared.core = nullptr;
  if (shared.timer != nullptr) pw_loop_destroy_source(pw_thread_loop_get_loop(shared.loop), shared.timer);
  if (shared.kick != nullptr) pw_loop_destroy_source(pw_thread_loop_get_loop(shared.loop), shared.kick);
  shared.timer = shared.kick = nullptr;
  if (shared.context != nullptr) pw_context_destroy(shared.context);
  shared.context = nullptr;
  pw_thread_loop_destroy(shared.loop);
  shared.loop = nullptr;
}

}  // namespace

PipeWireCaptureStream::~PipeWireCaptureStream() {
  shared_->isStopped = true;
  waitForDeliveries();
  tearDown(*shared_);
  waitForDeliveries();  // a delivery posted while the PipeWire thread stopped
  shared_->portal.reset();
}

void PipeWireCaptureStream::addStreamOutput(std::shared_ptr<SerialQueue> queue) {
  if (!queue) throw std::invalid_argument("A capture stream needs a queue to deliver frames on.");
  queue_ = std::move(queue);
}

void PipeWireCaptureStream::startCapture(std::function<void(std::exception_ptr)> completion) {
  if (!queue_) {
    completion(std::make_exception_ptr(std::logic_error("The capture stream has no output queue.")));
    return;
  }
  queue_->post([this, completion = std::move(completion)]() mutable {
    std::function<void(std::exception_ptr)> report = std::move(completion);
    report(setUp());
  });
}

std::exception_ptr PipeWireCaptureStream::setUp() {
  Shared& shared = *shared_;
  try {
    if (isStarted_) throw std::logic_error("The capture stream was already started.");
    if (shared.isStopped) throw std::logic_error("The capture stream was stopped before it started.");
    if (configuration_.pixelFormat != kPixelFormatBGRA) {
      throw std::invalid_argument("Screen capture delivers BGRA frames only.");
    }
    if (configuration_.width <= 0 || configuration_.height <= 0) {
      throw std::invalid_argument("A capture stream needs a positive frame size.");
    }
    shared.queue = queue_;

    shared.portal = std::make_unique<ScreenCastPortal>();
    ScreenCastGrant grant = shared.portal->start(restoreTokens_.get(), shared.isStopped);
    capturedDisplay_ = matchSharedMonitor(grant, displays_);

    initPipeWireOnce();
    {
      const std::lock_guard guard(shared.pipeWireMutex);
      shared.loop = pw_thread_loop_new("tarvelo-pipewire", nullptr);
      if (shared.loop == nullptr) throw std::runtime_error("PipeWire cannot start its thread.");
      shared.isPipeWireAlive = true;
    }
    pw_loop* loop = pw_thread_loop_get_loop(shared.loop);
    shared.context = pw_context_new(loop, nullptr, 0);
    if (shared.context == nullptr) throw std::runtime_error("PipeWire cannot be used here.");
    if (pw_thread_loop_start(shared.loop) < 0) throw std::runtime_error("PipeWire cannot start its thread.");

    pw_thread_loop_lock(shared.loop);
    struct Unlock {
      pw_thread_loop* loop;
      ~Unlock() { pw_thread_loop_unlock(loop); }
    } unlock{shared.loop};

    shared.core = pw_context_connect_fd(shared.context, grant.pipeWireFd, nullptr, 0);  // takes the fd
    if (shared.core == nullptr) {
      throw std::runtime_error(std::string("PipeWire cannot be reached: ") + std::strerror(errno));
    }
    pw_core_add_listener(shared.core, &shared.coreListener, &kCoreEvents, &shared);
    shared.sharedNode = grant.nodeId;
    shared.registry = pw_core_get_registry(shared.core, PW_VERSION_REGISTRY, 0);
    if (shared.registry == nullptr) throw std::runtime_error("PipeWire cannot list the shared screen.");
    pw_registry_add_listener(shared.registry, &shared.registryListener, &kRegistryEvents, &shared);
    shared.timer = pw_loop_add_timer(loop, onTimer, &shared);
    shared.kick = pw_loop_add_event(loop, onKick, &shared);
    shared.stream = pw_stream_new(shared.core, "Tarvelo screen capture",
                                  pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture",
                                                    PW_KEY_MEDIA_ROLE, "Screen", nullptr));
    if (shared.stream == nullptr) throw std::runtime_error("PipeWire cannot make a stream.");
    pw_stream_add_listener(shared.stream, &shared.streamListener, &kStreamEvents, &shared);

    // The compositor's native size, in any of the 32-bit orders we read.
    std::uint8_t storage[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(storage, sizeof(storage));
    const spa_rectangle defaultSize = SPA_RECTANGLE(1920, 1080);
    const spa_rectangle minSize = SPA_RECTANGLE(1, 1);
    const spa_rectangle maxSize = SPA_RECTANGLE(16384, 16384);
    const spa_fraction defaultRate = SPA_FRACTION(0, 1);
    const spa_fraction minRate = SPA_FRACTION(0, 1);
    const spa_fraction maxRate = SPA_FRACTION(1000, 1);
    // Our frame rate as the producer's cap: a wlroots compositor then copies
    // the screen no more often than we deliver it.
    const FrameInterval& interval = configuration_.minimumFrameInterval;
    const spa_fraction ourRate = interval.value > 0 && interval.timescale > 0
                                     ? SPA_FRACTION(static_cast<std::uint32_t>(interval.timescale),
                                                    static_cast<std::uint32_t>(interval.value))
                                     : maxRate;
    const spa_fraction slowestRate = SPA_FRACTION(1, 1);
    const spa_pod* format = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
        SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format,
        SPA_POD_CHOICE_ENUM_Id(5, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA,
                               SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA),
        SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&defaultSize, &minSize, &maxSize),
        SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&defaultRate, &minRate, &maxRate),
        SPA_FORMAT_VIDEO_maxFramerate, SPA_POD_CHOICE_RANGE_Fraction(&ourRate, &slowestRate, &ourRate)));
    const auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS);
    if (const int result = pw_stream_connect(shared.stream, PW_DIRECTION_INPUT, grant.nodeId, flags, &format, 1);
        result < 0) {
      throw std::runtime_error(std::string("PipeWire cannot connect to the shared screen: ") + spa_strerror(result));
    }

    const auto deadline = std::chrono::steady_clock::now() + kConnectTimeout;
    while (shared.state != PW_STREAM_STATE_STREAMING) {
      if (shared.state == PW_STREAM_STATE_ERROR || !shared.failure.empty()) {
        throw std::runtime_error("PipeWire cannot stream the shared screen: " + shared.failure);
      }
      if (shared.isStopped) throw std::runtime_error("The capture was stopped before the shared screen streamed.");
      if (std::chrono::steady_clock::now() >= deadline) {
        throw std::runtime_error("PipeWire did not start streaming the shared screen.");
      }
      pw_thread_loop_timed_wait(shared.loop, 1);
    }
  } catch (...) {
    tearDown(shared);
    shared.portal.reset();
    return std::current_exception();
  }
  isStarted_ = true;
  return nullptr;
}

void PipeWireCaptureStream::stopCapture() {
  if (shared_->isStopped.exchange(true)) return;
  const std::lock_guard guard(shared_->pipeWireMutex);
  if (!shared_->isPipeWireAlive || shared_->stream == nullptr) return;
  pw_thread_loop_lock(shared_->loop);
  pw_stream_set_active(shared_->stream, false);
  pw_thread_loop_unlock(shared_->loop);
}

void PipeWireCaptureStream::waitForDeliveries() {
  if (queue_ && !queue_->isCurrent()) queue_->waitUntilIdle();
}

}  // namespace tarvelo
