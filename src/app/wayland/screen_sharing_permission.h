#pragma once

#include <QObject>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/app_platform.h"

namespace tarvelo {

class RestoreTokenStore;
class SerialQueue;

// Capture permission on a Wayland desktop: the user's grant in the desktop's
// screen-sharing dialog, which the portal remembers as a restore token. Capture
// is allowed once a token is kept (the same store the capture reads and
// renews, so a grant given at a start counts too). A request opens the dialog
// through the portal without capturing anything and keeps the grant; the
// answer arrives later, through the answer handler.
class ScreenSharingPermission final : public PermissionService {
 public:
  explicit ScreenSharingPermission(std::shared_ptr<RestoreTokenStore> tokens);
  // Gives up an unanswered dialog's wait; no answer is reported afterwards.
  ~ScreenSharingPermission() override;

  ScreenSharingPermission(const ScreenSharingPermission&) = delete;
  ScreenSharingPermission& operator=(const ScreenSharingPermission&) = delete;

  bool preflight() override;
  // Opens the dialog unless one is already open for us.
  void request() override;
  // There is no settings page: the desktop asks in its own dialog.
  std::optional<std::string> privacySettingsUrl() override { return std::nullopt; }
  void setAnswerHandler(std::function<void()> answered) override { answered_ = std::move(answered); }

 private:
  std::shared_ptr<RestoreTokenStore> tokens_;
  std::function<void()> answered_;
  bool isAsking_ = false;
  // Ties the answer to this object's life on the main thread.
  QObject answerContext_;
  std::shared_ptr<std::atomic<bool>> cancelled_ = std::make_shared<std::atomic<bool>>(false);
  std::shared_ptr<SerialQueue> queue_;
};

}  // namespace tarvelo
