#include "app/wayland/screen_sharing_permission.h"

#include <QMetaObject>

#include <unistd.h>

#include <exception>
#include <iostream>

#include "capture/pipewire/screen_cast_portal.h"
#include "capture/pipewire/screen_cast_restore_token.h"
#include "capture/serial_queue.h"

namespace tarvelo {

ScreenSharingPermission::ScreenSharingPermission(std::shared_ptr<RestoreTokenStore> tokens)
    : tokens_(std::move(tokens)) {}

ScreenSharingPermission::~ScreenSharingPermission() {
  *cancelled_ = true;
  if (queue_) queue_->waitUntilIdle();
}

bool ScreenSharingPermission::preflight() { return tokens_->restoreToken().has_value(); }

void ScreenSharingPermission::request() {
  if (isAsking_) return;
  isAsking_ = true;
  // The portal's calls wait for the user, so they run on a queue of their own.
  if (!queue_) queue_ = std::make_shared<SerialQueue>("tarvelo-permission");
  queue_->post([tokens = tokens_, cancelled = cancelled_, context = &answerContext_, this] {
    try {
      // A session that only asks: it is closed (and the share ended) as soon
      // as the grant is kept.
      ScreenCastPortal portal;
      const ScreenCastGrant grant = portal.start(tokens.get(), *cancelled);
      if (grant.pipeWireFd >= 0) close(grant.pipeWireFd);
    } catch (const std::exception& error) {
      if (!*cancelled) std::cout << "[Tarvelo] Screen sharing was not granted: " << error.what() << std::endl;
    }
    if (*cancelled) return;
    QMetaObject::invokeMethod(context, [this] {
      isAsking_ = false;
      if (answered_) answered_();
    }, Qt::QueuedConnection);
  });
}

}  // namespace tarvelo
