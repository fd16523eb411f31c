#include "app/app_state.h"

#include <QPointer>
#include <QVariantMap>

#include <chrono>
#include <cmath>
#include <iostream>
#include <limits>
#include <string_view>
#include <utility>

#include "app/key_handler.h"
#include "app/presets.h"
#include "app/settings_store.h"
#include "capture/screen_capture_service.h"
#include "displays/display_arrangement.h"
#include "output/ambient_light_window.h"
#include "output/light_view.h"
#include "pipeline/color_processing_engine.h"
#include "support/fatal_error.h"
#include "support/main_queue.h"

namespace tarvelo {

namespace {

constexpr char kDetectingArrangementText[] = "Detecting arrangement\u2026";
constexpr char kSingleDisplayText[] = "Single display detected";
constexpr char kManualRoutingText[] = "Manual routing configured";
// Where the desktop's dialog chose another monitor to share than the movie screen.
constexpr char kSharingText[] = "Sharing ";
constexpr char kNotTheMovieScreenText[] = ", not the movie screen";
constexpr char kAnotherScreenText[] = "another screen";

constexpr char kPermissionRequiredText[] =
    "Screen Recording permission required. Enable in System Settings, then restart Tarvelo.";
constexpr char kNoDisplaysText[] = "No displays available to start Tarvelo.";
constexpr char kTargetNotFoundText[] = "Target display not found. Try refreshing displays.";
constexpr char kCaptureFailedText[] = "Failed to start capture: ";

constexpr char kCaptureFailedLogLine[] = "[Tarvelo] Failed to start capture: ";
constexpr char kLoginItemFailedLogLine[] = "[Tarvelo] Failed to change launch at login: ";

constexpr char kSettingsWindowTitle[] = "Tarvelo Settings";
constexpr int kSettingsWindowWidth = 520;
constexpr int kSettingsWindowHeight = 600;

constexpr std::chrono::milliseconds kAutoStartDelay{600};

constexpr auto kRelaxed = std::memory_order_relaxed;

// The engine works in single precision. A value beyond float's range becomes
// an infinity of its sign instead of an undefined conversion.
float narrowToFloat(double value) {
  constexpr double kLargest = std::numeric_limits<float>::max();
  if (value > kLargest) return std::numeric_limits<float>::infinity();
  if (value < -kLargest) return -std::numeric_limits<float>::infinity();
  return static_cast<float>(value);
}

std::string describe(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "Unknown error";
  }
}

QString toQString(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

bool containsDisplay(const std::vector<DisplayInfo>& displays, DisplayId id) {
  for (const DisplayInfo& display : displays) {
    if (display.id == id) return true;
  }
  return false;
}

}  // namespace

AppState::AppState(AppPlatform& platform, QObject* parent)
    : QObject(parent),
      platform_(platform),
      launchAtLogin_(false),
      autoStartOnLaunch_(setting_defaults::kAutoStartOnLaunch),
      showFloatingHUD_(setting_defaults::kShowFloatingHUD),
      autoDetectArrangement_(setting_defaults::kAutoDetectArrangement),
      isRunning_(false),
      sourceDisplayID_(0),
      targetDisplayID_(0),
      arrangementDescription_(kDetectingArrangementText),
      routingDescription_(kDetectingArrangementText),
      xOverlapStart_(0.0),
      xOverlapEnd_(1.0),
      lighting_(std::make_shared<LightingValues>()),
      captureRate_(setting_defaults::kCaptureRate),
      hasPermission_(true),
      displayManager_(platform.displaySource, platform.mainQueue),
      engine_(std::make_shared<ColorProcessingEngine>()) {
  loadSavedPreferences();
  refreshDisplays();
  setHasPermission(platform_.permission.preflight());
  platform_.permission.setAnswerHandler([this] { permissionWasAnswered(); });
  installDisplayListener();
  setupHotkeys();
  scheduleAutoStart();
}

AppState::~AppState() {
  platform_.permission.setAnswerHandler({});
  platform_.keys.setDesktopShortcutBindingHandler({});
  if (globalHotKeyMonitor_) platform_.keys.removeMonitor(*globalHotKeyMonitor_);
  if (localHotKeyMonitor_) platform_.keys.removeMonitor(*localHotKeyMonitor_);
}

// ---- Getters for views and the capture worker ----

QString AppState::arrangementDescriptionText() const { return QString::fromStdString(arrangementDescription_); }

double AppState::brightness() const { return lighting_->brightness.load(kRelaxed); }
double AppState::vibrancy() const { return lighting_->vibrancy.load(kRelaxed); }
double AppState::spread() const { return lighting_->spread.load(kRelaxed); }
double AppState::blurRadius() const { return lighting_->blurRadius.load(kRelaxed); }
double AppState::smoothing() const { return lighting_->smoothing.load(kRelaxed); }

QVariantList AppState::availableDisplayList() const {
  QVariantList list;
  list.reserve(static_cast<qsizetype>(availableDisplays_.size()));
  for (const DisplayInfo& display : availableDisplays_) {
    QVariantMap entry;
    entry.insert(QStringLiteral("id"), QVariant::fromValue<uint>(display.id));
    entry.insert(QStringLiteral("name"), QString::fromStdString(display.name));
    entry.insert(QStringLiteral("width"), QVariant::fromValue<qint64>(display.width));
    entry.insert(QStringLiteral("height"), QVariant::fromValue<qint64>(display.height));
    entry.insert(QStringLiteral("isBuiltin"), display.isBuiltin);
    list.append(entry);
  }
  return list;
}

QVariantList AppState::atmospherePresetList() const {
  QVariantList list;
  for (const AtmospherePreset& preset : kAtmospherePresets) {
    QVariantMap entry;
    entry.insert(QStringLiteral("name"), toQString(preset.name));
    entry.insert(QStringLiteral("iconName"), toQString(preset.iconName));
    entry.insert(QStringLiteral("brightness"), preset.brightness);
    entry.insert(QStringLiteral("vibrancy"), preset.vibrancy);
    entry.insert(QStringLiteral("spread"), preset.spread);
    entry.insert(QStringLiteral("blurRadius"), preset.blurRadius);
    entry.insert(QStringLiteral("smoothing"), preset.smoothing);
    list.append(entry);
  }
  return list;
}

QString AppState::errorMessageText() const {
  return errorMessage_ ? QString::fromStdString(*errorMessage_) : QString();
}

// ---- Settings: every assignment stores, also when nothing changed ----

void AppState::setLaunchAtLoginEnabled(bool enabled) {
  launchAtLogin_ = enabled;
  emit launchAtLoginChanged();
  setLaunchAtLogin(launchAtLogin_);
  emit loginItemStatusChanged();
}

void AppState::setAutoStartOnLaunch(bool value) {
  autoStartOnLaunch_ = value;
  emit autoStartOnLaunchChanged();
  platform_.settings.writeBool(settings_keys::kAutoStartOnLaunch, autoStartOnLaunch_);
}

void AppState::setShowFloatingHUD(bool value) {
  showFloatingHUD_ = value;
  emit showFloatingHUDChanged();
  platform_.settings.writeBool(settings_keys::kShowFloatingHUD, showFloatingHUD_);
}

void AppState::setAutoDetectArrangement(bool value) {
  autoDetectArrangement_ = value;
  emit autoDetectArrangementChanged();
  platform_.settings.writeBool(settings_keys::kAutoDetectArrangement, autoDetectArrangement_);
  refreshDisplays();
}

// Display ids are stored as signed integers holding the unsigned value.
void AppState::setSourceDisplayID(uint id) {
  sourceDisplayID_ = id;
  emit sourceDisplayIDChanged();
  platform_.settings.writeInt(settings_keys::kSourceDisplayID, static_cast<std::int64_t>(sourceDisplayID_));
}

void AppState::setTargetDisplayID(uint id) {
  targetDisplayID_ = id;
  emit targetDisplayIDChanged();
  platform_.settings.writeInt(settings_keys::kTargetDisplayID, static_cast<std::int64_t>(targetDisplayID_));
}

void AppState::setBrightness(double value) {
  lighting_->brightness.store(value, kRelaxed);
  emit brightnessChanged();
  platform_.settings.writeDouble(settings_keys::kBrightness, brightness());
}

void AppState::setVibrancy(double value) {
  lighting_->vibrancy.store(value, kRelaxed);
  emit vibrancyChanged();
  platform_.settings.writeDouble(settings_keys::kVibrancy, vibrancy());
}

void AppState::setSpread(double value) {
  lighting_->spread.store(value, kRelaxed);
  emit spreadChanged();
  platform_.settings.writeDouble(settings_keys::kSpread, spread());
}

void AppState::setBlurRadius(double value) {
  lighting_->blurRadius.store(value, kRelaxed);
  emit blurRadiusChanged();
  platform_.settings.writeDouble(settings_keys::kBlurRadius, blurRadius());
}

void AppState::setSmoothing(double value) {
  lighting_->smoothing.store(value, kRelaxed);
  emit smoothingChanged();
  platform_.settings.writeDouble(settings_keys::kSmoothing, smoothing());
}

void AppState::setCaptureRate(qint64 value) {
  captureRate_ = value;
  emit captureRateChanged();
  platform_.settings.writeInt(settings_keys::kCaptureRate, captureRate_);
}

// ---- Published values that are not settings ----

void AppState::setIsRunning(bool value) {
  isRunning_ = value;
  emit isRunningChanged();
}

void AppState::setArrangementDescription(std::string value) {
  routingDescription_ = std::move(value);
  publishArrangementDescription();
}

void AppState::setCapturedDisplay(std::optional<DisplayId> value) {
  capturedDisplay_ = value;
  publishArrangementDescription();
}

// On a desktop whose dialog picks the shared monitor, the user may have
// picked another one than the movie screen: the light then follows that
// one, and the panel says so where it shows the routing.
void AppState::publishArrangementDescription() {
  std::string description = routingDescription_;
  if (capturedDisplay_ && *capturedDisplay_ != sourceDisplayID_) {
    const auto nameOf = [this](DisplayId id) -> std::optional<std::string> {
      for (const DisplayInfo& display : availableDisplays_) {
        if (display.id == id) return display.name;
      }
      return std::nullopt;
    };
    description = kSharingText + nameOf(*capturedDisplay_).value_or(kAnotherScreenText) + kNotTheMovieScreenText;
    if (const std::optional<std::string> source = nameOf(sourceDisplayID_)) description += " " + *source;
  }
  arrangementDescription_ = std::move(description);
  emit arrangementDescriptionChanged();
}

void AppState::setXOverlapStart(double value) {
  xOverlapStart_ = value;
  emit xOverlapStartChanged();
}

void AppState::setXOverlapEnd(double value) {
  xOverlapEnd_ = value;
  emit xOverlapEndChanged();
}

void AppState::setAvailableDisplays(std::vector<DisplayInfo> value) {
  availableDisplays_ = std::move(value);
  emit availableDisplaysChanged();
}

void AppState::setErrorMessage(std::optional<std::string> value) {
  errorMessage_ = std::move(value);
  emit errorMessageChanged();
}

void AppState::setHasPermission(bool value) {
  hasPermission_ = value;
  emit hasPermissionChanged();
}

// ---- Loading ----

// The order is part of the behaviour: the automatic-arrangement switch is
// loaded (and refreshes the routing) while both display ids are still 0, so
// with manual routing the first and last discovered displays are stored and
// then read straight back. A manual routing therefore does not survive a
// relaunch; that is accepted.
void AppState::loadSavedPreferences() {
  SettingsStore& store = platform_.settings;
  if (store.contains(settings_keys::kBrightness)) setBrightness(store.readDouble(settings_keys::kBrightness));
  if (store.contains(settings_keys::kVibrancy)) setVibrancy(store.readDouble(settings_keys::kVibrancy));
  if (store.contains(settings_keys::kSpread)) setSpread(store.readDouble(settings_keys::kSpread));
  if (store.contains(settings_keys::kBlurRadius)) setBlurRadius(store.readDouble(settings_keys::kBlurRadius));
  if (store.contains(settings_keys::kSmoothing)) setSmoothing(store.readDouble(settings_keys::kSmoothing));
  if (store.contains(settings_keys::kCaptureRate)) setCaptureRate(store.readInt(settings_keys::kCaptureRate));
  if (store.contains(settings_keys::kAutoStartOnLaunch)) {
    setAutoStartOnLaunch(store.readBool(settings_keys::kAutoStartOnLaunch));
  }
  if (store.contains(settings_keys::kShowFloatingHUD)) {
    setShowFloatingHUD(store.readBool(settings_keys::kShowFloatingHUD));
  }
  if (store.contains(settings_keys::kAutoDetectArrangement)) {
    setAutoDetectArrangement(store.readBool(settings_keys::kAutoDetectArrangement));
  }
  if (store.contains(settings_keys::kSourceDisplayID)) {
    setSourceDisplayID(loadDisplayID(settings_keys::kSourceDisplayID));
  }
  if (store.contains(settings_keys::kTargetDisplayID)) {
    setTargetDisplayID(loadDisplayID(settings_keys::kTargetDisplayID));
  }
  syncLaunchAtLoginStatus();
}

// No stored id can legitimately fall outside the unsigned 32-bit range; one
// that does means the store was written by something else, and there is no
// sensible display to fall back to.
DisplayId AppState::loadDisplayID(const char* key) {
  const std::int64_t stored = platform_.settings.readInt(key);
  if (stored < 0 || stored > static_cast<std::int64_t>(std::numeric_limits<DisplayId>::max())) {
    fatalError(std::string("stored display id under ") + key + " is out of range: " + std::to_string(stored));
  }
  return static_cast<DisplayId>(stored);
}

void AppState::resetToDefaults() {
  setBrightness(setting_defaults::kBrightness);
  setVibrancy(setting_defaults::kVibrancy);
  setSpread(setting_defaults::kSpread);
  setBlurRadius(setting_defaults::kBlurRadius);
  setSmoothing(setting_defaults::kSmoothing);
  setCaptureRate(setting_defaults::kCaptureRate);
  setAutoDetectArrangement(setting_defaults::kAutoDetectArrangement);
  setShowFloatingHUD(setting_defaults::kShowFloatingHUD);
  refreshDisplays();
}

void AppState::applyPresetAt(int index) {
  if (index < 0 || static_cast<std::size_t>(index) >= kAtmospherePresets.size()) return;
  applyPreset(*this, kAtmospherePresets[static_cast<std::size_t>(index)]);
}

// ---- Creation steps ----

// A display change only refreshes the routing: a running capture is neither
// restarted nor moved, deliberately.
void AppState::installDisplayListener() {
  QPointer<AppState> self(this);
  MainQueue& mainQueue = platform_.mainQueue;
  displayManager_.onDisplaysChanged = [self, &mainQueue] {
    mainQueue.post([self] {
      if (self) self->refreshDisplays();
    });
  };
}

// The global monitor may call from any thread, so it hops to the main queue;
// the local one is already on the main thread and must not delay the key it
// passes on.
void AppState::setupHotkeys() {
  QPointer<AppState> self(this);
  MainQueue& mainQueue = platform_.mainQueue;
  globalHotKeyMonitor_ = platform_.keys.addGlobalKeyDownMonitor([self, &mainQueue](const KeyEvent& event) {
    mainQueue.post([self, event] {
      if (self) handleShortcutKey(*self, event);
    });
  });
  localHotKeyMonitor_ = platform_.keys.addLocalKeyDownMonitor([self](const KeyEvent& event) {
    if (self) handleShortcutKey(*self, event);
  });
  platform_.keys.setDesktopShortcutBindingHandler([self, &keys = platform_.keys] {
    if (self) self->setDesktopShortcutBinding(keys.desktopShortcutBinding());
  });
  setDesktopShortcutBinding(platform_.keys.desktopShortcutBinding());
}

void AppState::setDesktopShortcutBinding(DesktopShortcutBinding value) {
  if (value == desktopShortcutBinding_) return;
  desktopShortcutBinding_ = std::move(value);
  emit desktopShortcutBindingChanged();
}

QString AppState::desktopToggleTrigger() const {
  return QString::fromStdString(desktopShortcutBinding_.toggleTrigger);
}

void AppState::scheduleAutoStart() {
  if (!autoStartOnLaunch_ || !hasPermission_) return;
  QPointer<AppState> self(this);
  platform_.mainQueue.postAfter(kAutoStartDelay, [self] {
    if (self) self->start();
  });
}

// ---- Routing ----

void AppState::refreshDisplays() {
  setAvailableDisplays(displayManager_.discoverDisplays());
  // A copy: the setters below announce changes, and a listener may refresh again.
  const std::vector<DisplayInfo> displays = availableDisplays_;

  if (autoDetectArrangement_) {
    if (const std::optional<DisplayArrangement> arrangement = detectArrangement(displays)) {
      setSourceDisplayID(arrangement->top.id);
      setTargetDisplayID(arrangement->bottom.id);
      setArrangementDescription(arrangement->description);
      setXOverlapStart(arrangement->xOverlapStart);
      setXOverlapEnd(arrangement->xOverlapEnd);
      return;
    }
    // Nothing online: keep whatever the routing and description said before.
    if (displays.empty()) return;
    // A single display. Ids already chosen are kept even if that display has
    // gone, so re-plugging the second display restores the old routing.
    if (sourceDisplayID_ == 0) setSourceDisplayID(displays.front().id);
    if (targetDisplayID_ == 0) setTargetDisplayID(displays.back().id);
    setArrangementDescription(kSingleDisplayText);
    setXOverlapStart(0.0);
    setXOverlapEnd(1.0);
    return;
  }

  if (!displays.empty() && !containsDisplay(displays, sourceDisplayID_)) setSourceDisplayID(displays.front().id);
  if (!displays.empty() && !containsDisplay(displays, targetDisplayID_)) setTargetDisplayID(displays.back().id);
  setArrangementDescription(kManualRoutingText);
  setXOverlapStart(0.0);
  setXOverlapEnd(1.0);
}

std::optional<Screen> AppState::findTargetScreen() {
  for (const Screen& screen : platform_.screens.screens()) {
    if (screen.displayNumber && *screen.displayNumber == targetDisplayID_) return screen;
  }
  return std::nullopt;
}

// ---- Run control ----

void AppState::start() {
  if (isRunning_) return;
  setErrorMessage(std::nullopt);

  setHasPermission(platform_.permission.preflight());
  if (!hasPermission_) {
    requestPermission();
    setErrorMessage(kPermissionRequiredText);
    return;
  }

  refreshDisplays();
  if (sourceDisplayID_ == 0 || targetDisplayID_ == 0) {
    setErrorMessage(kNoDisplaysText);
    return;
  }

  const std::optional<Screen> targetScreen = findTargetScreen();
  if (!targetScreen) {
    setErrorMessage(kTargetNotFoundText);
    return;
  }

  auto window = std::make_shared<AmbientLightWindow>(platform_.output, platform_.mainQueue);
  window->setup(*targetScreen, *this);
  // A window from an earlier start that is still waiting is released, not
  // closed first; releasing it takes it off the screen.
  ambientWindow_ = window;

  auto service = std::make_shared<ScreenCaptureService>(platform_.capture);
  // The first frame of every run is shown as it is, not blended with the last run.
  engine_->clearPreviousColors();

  // The overlap is fixed for the run; the lighting values are read afresh per frame.
  const double xStart = xOverlapStart_;
  const double xEnd = xOverlapEnd_;
  QPointer<AppState> self(this);
  MainQueue& mainQueue = platform_.mainQueue;
  service->onFrame = [lighting = std::weak_ptr<LightingValues>(lighting_), engine = engine_, xStart, xEnd, self,
                      &mainQueue](const Frame& frame) {
    const std::shared_ptr<LightingValues> values = lighting.lock();
    if (!values) return;
    const float smoothing = narrowToFloat(values->smoothing.load(kRelaxed));
    const float vibrancy = narrowToFloat(values->vibrancy.load(kRelaxed));
    ZoneColorList colors = engine->process(frame, smoothing, vibrancy, xStart, xEnd);
    const double brightness = values->brightness.load(kRelaxed);
    const double blurRadius = values->blurRadius.load(kRelaxed);
    const double spread = values->spread.load(kRelaxed);
    mainQueue.post([self, colors = std::move(colors), brightness, blurRadius, spread] {
      if (self) self->showColors(colors, brightness, blurRadius, spread);
    });
  };

  // The completion keeps the service and window alive until it has run once,
  // then lets go of them, so nothing it leaves behind in the platform's
  // callbacks can keep the service alive for ever.
  auto pending = std::make_shared<PendingStart>(PendingStart{service, window, stopCount_});
  const DisplayId source = sourceDisplayID_;
  const std::int64_t rate = captureRate_;
  service->start(source, rate, [self, &mainQueue, pending](std::exception_ptr error) {
    PendingStart taken = std::move(*pending);
    mainQueue.post([self, taken = std::move(taken), error]() mutable {
      if (self) self->finishStart(std::move(taken), error);
    });
  });
}

// Not guarded against overlapping starts: the answer that arrives last wins
// the fields. A stop() since the start began is the user's later word, so its
// answer only releases what it made; otherwise it would bring the run back
// without a light window.
void AppState::finishStart(PendingStart pending, std::exception_ptr error) {
  if (pending.stopsWhenStarted != stopCount_) {
    if (!error) pending.service->stop();
    if (const std::shared_ptr<AmbientLightWindow> window = pending.window.lock()) window->close();
    return;
  }
  if (!error) {
    captureService_ = std::move(pending.service);
    setIsRunning(true);
    setErrorMessage(std::nullopt);
    setCapturedDisplay(captureService_->capturedDisplay());
    return;
  }
  const std::string description = describe(error);
  std::cout << kCaptureFailedLogLine << description << std::endl;
  setErrorMessage(kCaptureFailedText + description);
  // The desktop may have asked again and been refused, taking its grant back:
  // the permission card then shows again.
  setHasPermission(platform_.permission.preflight());
  if (const std::shared_ptr<AmbientLightWindow> window = pending.window.lock()) window->close();
  ambientWindow_.reset();
  setIsRunning(false);
}

// Results of frames still in flight when the lights stop are dropped here.
void AppState::showColors(const ZoneColorList& colors, double brightness, double blurRadius, double spread) {
  if (!isRunning_ || !ambientWindow_) return;
  LightView* view = ambientWindow_->ambientView();
  if (view == nullptr) return;
  ++framesShown_;
  view->updateColors(colors, brightness, blurRadius, spread);
}

void AppState::stop() {
  // First, so that update jobs already queued find the lights off.
  setIsRunning(false);
  ++stopCount_;
  if (captureService_) {
    captureService_->stop();
    captureService_.reset();
  }
  if (capturedDisplay_) setCapturedDisplay(std::nullopt);
  if (ambientWindow_) {
    ambientWindow_->close();
    ambientWindow_.reset();
  }
  engine_->clearPreviousColors();
}

void AppState::toggleLights() {
  QPointer<AppState> self(this);
  platform_.mainQueue.post([self] {
    if (!self) return;
    if (self->isRunning()) {
      self->stop();
    } else {
      self->start();
    }
  });
}

void AppState::switchLights(bool on) {
  QPointer<AppState> self(this);
  platform_.mainQueue.post([self, on] {
    if (!self) return;
    if (on) {
      self->start();
    } else {
      self->stop();
    }
  });
}

// ---- Login item, permission, Settings window ----

int AppState::loginItemStatus() const { return platform_.loginItems.status(); }

// A failure is only logged: the toggle keeps what the user chose, and the next
// launch's sync shows the real state.
void AppState::setLaunchAtLogin(bool wanted) {
  const bool enabled = platform_.loginItems.status() == LoginItemService::kEnabled;
  if (wanted == enabled) return;
  try {
    if (wanted) {
      platform_.loginItems.registerApp();
    } else {
      platform_.loginItems.unregisterApp();
    }
  } catch (const std::exception& error) {
    std::cout << kLoginItemFailedLogLine << error.what() << std::endl;
  }
}

void AppState::syncLaunchAtLoginStatus() {
  const bool enabled = platform_.loginItems.status() == LoginItemService::kEnabled;
  if (enabled != launchAtLogin_) setLaunchAtLoginEnabled(enabled);
}

void AppState::requestPermission() {
  platform_.permission.request();
  setHasPermission(platform_.permission.preflight());
  if (hasPermission_) return;
  if (const std::optional<std::string> url = platform_.permission.privacySettingsUrl()) platform_.urls.open(*url);
}

// The user answered the desktop's dialog after requestPermission returned. A
// grant takes the permission card away, and a start that stopped for want of
// it (its error still shows) goes on: the user asked for the lights, the
// desktop asked them, they allowed it.
void AppState::permissionWasAnswered() {
  setHasPermission(platform_.permission.preflight());
  if (hasPermission_ && errorMessage_ == std::optional<std::string>(kPermissionRequiredText)) start();
}

void AppState::openSettingsWindow() {
  if (!settingsWindow_) {
    settingsWindow_ = platform_.settingsWindows.createSettingsWindow(*this, kSettingsWindowTitle,
                                                                     kSettingsWindowWidth, kSettingsWindowHeight);
    if (!settingsWindow_) return;
  }
  settingsWindow_->makeKeyAndOrderFront();
  platform_.settingsWindows.activateApplication();
}

}  // namespace tarvelo
