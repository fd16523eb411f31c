#include "capture/x11/x11_capture_backend.h"

#include <exception>
#include <stdexcept>
#include <utility>
#include <vector>

#include "capture/serial_queue.h"
#include "capture/x11/x11_connection.h"
#include "capture/x11/x11_outputs.h"

namespace tarvelo {

X11CaptureBackend::X11CaptureBackend(std::optional<std::string> displayName, X11CaptureTuning tuning)
    : displayName_(std::move(displayName)),
      tuning_(tuning),
      queryQueue_(std::make_unique<SerialQueue>("tarvelo.x11query")) {}

X11CaptureBackend::~X11CaptureBackend() = default;

void X11CaptureBackend::queryShareableDisplays(ShareableDisplaysCompletion completion) {
  queryQueue_->post([this, completion = std::move(completion)] {
    std::vector<DisplayId> displays;
    std::exception_ptr failure;
    try {
      // Connected on first use: a server that cannot capture (an extension is
      // missing) then says why at every start, and the rest of the program,
      // which needs none of this, runs all the same.
      if (!connection_) connection_ = std::make_unique<X11Connection>(displayName_);
      if (connection_->hasFailed()) throw std::runtime_error("The connection to the X server was lost.");
      displays = activeOutputIds(connection_->get(), connection_->root());
    } catch (...) {
      failure = std::current_exception();
      displays.clear();
    }
    completion(std::move(displays), failure);
  });
}

std::unique_ptr<CaptureStream> X11CaptureBackend::makeStream(DisplayId display,
                                                             const StreamConfiguration& configuration,
                                                             CaptureStreamDelegate& delegate) {
  // Each stream opens its own connections when it starts: its change reports
  // and its capture requests then never wait behind another stream's.
  return std::make_unique<X11CaptureStream>(displayName_, display, configuration, delegate, tuning_, streamSlots_);
}

}  // namespace tarvelo
