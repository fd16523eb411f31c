#pragma once

#include <QObject>
#include <QString>
#include <QVariantList>

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/app_platform.h"
#include "app/persisted_settings.h"
#include "displays/display_info.h"
#include "displays/display_manager.h"
#include "output/output_platform.h"
#include "pipeline/zone_color.h"

namespace tarvelo {

class AmbientLightWindow;
class ColorProcessingEngine;
class ScreenCaptureService;

// The one observable state of the program: every setting (persisted on every
// assignment), the display routing, and the operations that bring the lights
// up and down. Lives on the main thread for the whole process; views bind to
// its properties and write through its setters. Every assignment through a
// setter announces itself with the property's change signal, also when the
// value stays the same.
class AppState final : public QObject {
  Q_OBJECT

  Q_PROPERTY(bool launchAtLogin READ launchAtLogin WRITE setLaunchAtLoginEnabled NOTIFY launchAtLoginChanged)
  Q_PROPERTY(bool autoStartOnLaunch READ autoStartOnLaunch WRITE setAutoStartOnLaunch NOTIFY autoStartOnLaunchChanged)
  Q_PROPERTY(bool showFloatingHUD READ showFloatingHUD WRITE setShowFloatingHUD NOTIFY showFloatingHUDChanged)
  Q_PROPERTY(bool autoDetectArrangement READ autoDetectArrangement WRITE setAutoDetectArrangement NOTIFY
                 autoDetectArrangementChanged)
  Q_PROPERTY(bool isRunning READ isRunning NOTIFY isRunningChanged)
  Q_PROPERTY(uint sourceDisplayID READ sourceDisplayID WRITE setSourceDisplayID NOTIFY sourceDisplayIDChanged)
  Q_PROPERTY(uint targetDisplayID READ targetDisplayID WRITE setTargetDisplayID NOTIFY targetDisplayIDChanged)
  Q_PROPERTY(QString arrangementDescription READ arrangementDescriptionText NOTIFY arrangementDescriptionChanged)
  Q_PROPERTY(double xOverlapStart READ xOverlapStart NOTIFY xOverlapStartChanged)
  Q_PROPERTY(double xOverlapEnd READ xOverlapEnd NOTIFY xOverlapEndChanged)
  Q_PROPERTY(double brightness READ brightness WRITE setBrightness NOTIFY brightnessChanged)
  Q_PROPERTY(double vibrancy READ vibrancy WRITE setVibrancy NOTIFY vibrancyChanged)
  Q_PROPERTY(double spread READ spread WRITE setSpread NOTIFY spreadChanged)
  Q_PROPERTY(double blurRadius READ blurRadius WRITE setBlurRadius NOTIFY blurRadiusChanged)
  Q_PROPERTY(double smoothing READ smoothing WRITE setSmoothing NOTIFY smoothingChanged)
  Q_PROPERTY(qint64 captureRate READ captureRate WRITE setCaptureRate NOTIFY captureRateChanged)
  // Each entry a map with "id", "name", "width", "height" and "isBuiltin".
  Q_PROPERTY(QVariantList availableDisplays READ availableDisplayList NOTIFY availableDisplaysChanged)
  // Empty when there is no error.
  Q_PROPERTY(QString errorMessage READ errorMessageText NOTIFY errorMessageChanged)
  Q_PROPERTY(bool hasPermission READ hasPermission NOTIFY hasPermissionChanged)
  // The atmosphere presets in button order, each a map with "name", "iconName"
  // and the five values; applied with applyPresetAt().
  Q_PROPERTY(QVariantList atmospherePresets READ atmospherePresetList CONSTANT)
  // The login-item registry's status (0 not registered, 1 enabled, 2 requires
  // approval, 3 not found), read afresh on every read.
  Q_PROPERTY(int loginItemStatus READ loginItemStatus NOTIFY loginItemStatusChanged)
  // Where the desktop binds the global shortcuts itself (Wayland): whether it
  // has, and its name for the keys that toggle the lights (may be empty).
  Q_PROPERTY(bool shortcutsBoundByDesktop READ shortcutsBoundByDesktop NOTIFY desktopShortcutBindingChanged)
  Q_PROPERTY(QString desktopToggleTrigger READ desktopToggleTrigger NOTIFY desktopShortcutBindingChanged)

 public:
  // Runs the whole creation sequence: loads the stored settings, refreshes the
  // displays, checks the permission, listens for display changes, installs the
  // shortcuts and, when asked to, schedules the lights to start shortly after.
  explicit AppState(AppPlatform& platform, QObject* parent = nullptr);
  // Removes the key monitors; a running capture is not stopped first.
  ~AppState() override;

  AppState(const AppState&) = delete;
  AppState& operator=(const AppState&) = delete;

  bool launchAtLogin() const { return launchAtLogin_; }
  bool autoStartOnLaunch() const { return autoStartOnLaunch_; }
  bool showFloatingHUD() const { return showFloatingHUD_; }
  bool autoDetectArrangement() const { return autoDetectArrangement_; }
  bool isRunning() const { return isRunning_; }
  DisplayId sourceDisplayID() const { return sourceDisplayID_; }
  DisplayId targetDisplayID() const { return targetDisplayID_; }
  const std::string& arrangementDescription() const { return arrangementDescription_; }
  QString arrangementDescriptionText() const;
  double xOverlapStart() const { return xOverlapStart_; }
  double xOverlapEnd() const { return xOverlapEnd_; }
  // The five lighting values may be read from any thread.
  double brightness() const;
  double vibrancy() const;
  double spread() const;
  double blurRadius() const;
  double smoothing() const;
  std::int64_t captureRate() const { return captureRate_; }
  const std::vector<DisplayInfo>& availableDisplays() const { return availableDisplays_; }
  QVariantList availableDisplayList() const;
  const std::optional<std::string>& errorMessage() const { return errorMessage_; }
  QString errorMessageText() const;
  bool hasPermission() const { return hasPermission_; }
  // Frames whose colours reached the light since creation; for the figures
  // --verbose prints.
  std::uint64_t framesShown() const { return framesShown_; }
  QVariantList atmospherePresetList() const;
  int loginItemStatus() const;
  bool shortcutsBoundByDesktop() const { return desktopShortcutBinding_.isBound; }
  QString desktopToggleTrigger() const;

  // The user-editable settings. Each one stores its value on every assignment;
  // nothing is clamped here.
  void setLaunchAtLoginEnabled(bool enabled);  // also asks the login-item registry to follow
  void setAutoStartOnLaunch(bool value);
  void setShowFloatingHUD(bool value);
  void setAutoDetectArrangement(bool value);  // also re-derives the routing at once
  void setSourceDisplayID(uint id);
  void setTargetDisplayID(uint id);
  void setBrightness(double value);
  void setVibrancy(double value);
  void setSpread(double value);
  void setBlurRadius(double value);
  void setSmoothing(double value);
  void setCaptureRate(qint64 value);

  // Re-reads the online displays and, with automatic arrangement on, the
  // routing and overlap derived from them.
  Q_INVOKABLE void refreshDisplays();
  // Returns at once; the capture's answer arrives later on the main queue.
  // Every failure ends in errorMessage.
  Q_INVOKABLE void start();
  Q_INVOKABLE void stop();
  // Stops the lights if they run, otherwise starts them, in a job of its own,
  // so the caller never waits for a capture start.
  Q_INVOKABLE void toggleLights();
  // Starts the lights when `on`, otherwise stops them, in a job of its own:
  // the panel's switch, which says what the user wants rather than asking
  // for the opposite of the current state.
  Q_INVOKABLE void switchLights(bool on);
  // Asks for the screen-capture permission and, when it is still missing,
  // opens the place where the user grants it.
  Q_INVOKABLE void requestPermission();
  // Creates the Settings window the first time; later only brings it forward.
  Q_INVOKABLE void openSettingsWindow();
  // The Settings window's reset: lighting values, frame rate and the two
  // switches back to their defaults; login item, auto-start and routing stay.
  Q_INVOKABLE void resetToDefaults();
  // Applies the atmosphere preset at `index` of atmospherePresets(); other
  // indices do nothing.
  Q_INVOKABLE void applyPresetAt(int index);

  // Sets launchAtLogin from the login-item registry's real status.
  void syncLaunchAtLoginStatus();

  // Present only while the lights run (or are starting).
  AmbientLightWindow* ambientWindow() const { return ambientWindow_.get(); }
  ScreenCaptureService* captureService() const { return captureService_.get(); }

 signals:
  void launchAtLoginChanged();
  void autoStartOnLaunchChanged();
  void showFloatingHUDChanged();
  void autoDetectArrangementChanged();
  void isRunningChanged();
  void sourceDisplayIDChanged();
  void targetDisplayIDChanged();
  void arrangementDescriptionChanged();
  void xOverlapStartChanged();
  void xOverlapEndChanged();
  void brightnessChanged();
  void vibrancyChanged();
  void spreadChanged();
  void blurRadiusChanged();
  void smoothingChanged();
  void captureRateChanged();
  void availableDisplaysChanged();
  void errorMessageChanged();
  void hasPermissionChanged();
  // After every launchAtLogin assignment, once the registry has been asked to follow.
  void loginItemStatusChanged();
  void desktopShortcutBindingChanged();

 private:
  // Read by the capture worker on every frame, written by the setters on the
  // main thread. Frame callbacks hold it weakly: when it is gone, the state is.
  struct LightingValues {
    std::atomic<double> brightness{setting_defaults::kBrightness};
    std::atomic<double> vibrancy{setting_defaults::kVibrancy};
    std::atomic<double> spread{setting_defaults::kSpread};
    std::atomic<double> blurRadius{setting_defaults::kBlurRadius};
    std::atomic<double> smoothing{setting_defaults::kSmoothing};
  };

  // What one start keeps until the capture answers. Its light window is
  // owned by ambientWindow alone: a later start that replaces it takes it
  // down, so overlapping starts never stack windows on the light screen.
  // A stop() made after the start began wins over its answer: the count of
  // stops it saw tells a stale answer from a live one.
  struct PendingStart {
    std::shared_ptr<ScreenCaptureService> service;
    std::weak_ptr<AmbientLightWindow> window;
    std::uint64_t stopsWhenStarted = 0;
  };

  void loadSavedPreferences();
  DisplayId loadDisplayID(const char* key);
  void setLaunchAtLogin(bool wanted);
  void setupHotkeys();
  void setDesktopShortcutBinding(DesktopShortcutBinding value);
  void installDisplayListener();
  void scheduleAutoStart();

  void finishStart(PendingStart pending, std::exception_ptr error);
  void showColors(const ZoneColorList& colors, double brightness, double blurRadius, double spread);
  std::optional<Screen> findTargetScreen();

  void setIsRunning(bool value);
  // The routing's own description; a shared monitor other than the source
  // stands in its place while the lights run (see publishArrangementDescription).
  void setArrangementDescription(std::string value);
  void setCapturedDisplay(std::optional<DisplayId> value);
  void publishArrangementDescription();
  void setXOverlapStart(double value);
  void setXOverlapEnd(double value);
  void setAvailableDisplays(std::vector<DisplayInfo> value);
  void setErrorMessage(std::optional<std::string> value);
  void setHasPermission(bool value);
  void permissionWasAnswered();

  AppPlatform& platform_;

  bool launchAtLogin_;
  bool autoStartOnLaunch_;
  bool showFloatingHUD_;
  bool autoDetectArrangement_;
  bool isRunning_;
  DisplayId sourceDisplayID_;
  DisplayId targetDisplayID_;
  std::string arrangementDescription_;
  std::string routingDescription_;
  // While the lights run: the display the capture shows, where known.
  std::optional<DisplayId> capturedDisplay_;
  double xOverlapStart_;
  double xOverlapEnd_;
  std::shared_ptr<LightingValues> lighting_;
  std::int64_t captureRate_;
  std::vector<DisplayInfo> availableDisplays_;
  std::optional<std::string> errorMessage_;
  bool hasPermission_;
  std::uint64_t framesShown_ = 0;
  std::uint64_t stopCount_ = 0;

  DisplayManager displayManager_;
  std::shared_ptr<ScreenCaptureService> captureService_;
  std::shared_ptr<ColorProcessingEngine> engine_;
  std::shared_ptr<AmbientLightWindow> ambientWindow_;
  std::unique_ptr<SettingsWindow> settingsWindow_;
  std::optional<MonitorToken> globalHotKeyMonitor_;
  std::optional<MonitorToken> localHotKeyMonitor_;
  DesktopShortcutBinding desktopShortcutBinding_;
};

}  // namespace tarvelo
