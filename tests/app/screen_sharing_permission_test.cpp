// Capture permission on a Wayland desktop, on the headless rig
// (scripts/virtual-wayland.sh), whose share dialog answers at once: a share,
// or a refusal while a RigShareAnswer says so.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>

#include "app/wayland/screen_sharing_permission.h"
#include "fakes/fake_restore_token_store.h"
#include "rig/wayland_rig_session.h"

namespace tarvelo {
namespace {

using testing::FakeRestoreTokenStore;
using testing::RigShareAnswer;
using testing::runInRig;

// How many screen-cast sessions the rig's portal backend has been asked for.
int portalSessions() {
  const std::string log = std::string(std::getenv("XDG_RUNTIME_DIR")) + "/../portal-wlr.log";
  return std::stoi(runInRig("grep -c 'create session method invoked' " + log + " || true"));
}

// Runs the event loop until `answers` reaches `count` or ten seconds pass.
bool waitForAnswers(const int& answers, int count) {
  const QDeadlineTimer deadline(std::chrono::seconds(10));
  while (answers < count && !deadline.hasExpired()) QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
  return answers >= count;
}

TEST(ScreenSharingPermissionTest, WithoutAKeptGrantCaptureIsNotAllowedAndThereIsNoSettingsPage) {
  ScreenSharingPermission permission(std::make_shared<FakeRestoreTokenStore>());
  EXPECT_FALSE(permission.preflight());
  EXPECT_EQ(permission.privacySettingsUrl(), std::nullopt);
}

TEST(ScreenSharingPermissionTest, AGrantKeptByAnEarlierCaptureAllowsIt) {
  auto tokens = std::make_shared<FakeRestoreTokenStore>();
  tokens->setToken("granted-at-an-earlier-start");
  ScreenSharingPermission permission(tokens);
  EXPECT_TRUE(permission.preflight());
}

TEST(ScreenSharingPermissionTest, ARequestAsksTheDesktopOnceKeepsItsGrantAndAnswersLater) {
  auto tokens = std::make_shared<FakeRestoreTokenStore>();
  ScreenSharingPermission permission(tokens);
  int answers = 0;
  permission.setAnswerHandler([&] { ++answers; });
  const int sessionsBefore = portalSessions();

  permission.request();
  permission.request();  // while the first is still asking: no second dialog
  EXPECT_EQ(answers, 0) << "the answer comes from the event loop, never from inside request()";
  ASSERT_TRUE(waitForAnswers(answers, 1));
  EXPECT_TRUE(permission.preflight());
  ASSERT_EQ(tokens->stored().size(), 1u);
  EXPECT_FALSE(tokens->stored().front().empty());
  EXPECT_EQ(portalSessions(), sessionsBefore + 1);

  // Once answered, a new request asks again (the desktop may have forgotten).
  permission.request();
  ASSERT_TRUE(waitForAnswers(answers, 2));
  EXPECT_EQ(tokens->stored().size(), 2u);
  EXPECT_EQ(portalSessions(), sessionsBefore + 2);
}

TEST(ScreenSharingPermissionTest, ARefusedDialogForgetsAGrantTheDesktopNoLongerHonours) {
  auto tokens = std::make_shared<FakeRestoreTokenStore>();
  // A token the desktop does not know (as after it forgot the share): it asks again.
  tokens->setToken("0d5e3c58-6a55-4f0b-9b7e-1a2b3c4d5e6f");
  ScreenSharingPermission permission(tokens);
  ASSERT_TRUE(permission.preflight());
  int answers = 0;
  permission.setAnswerHandler([&] { ++answers; });
  {
    const RigShareAnswer refusal("refuse");
    permission.request();
    ASSERT_TRUE(waitForAnswers(answers, 1));
  }
  EXPECT_FALSE(permission.preflight());
  EXPECT_EQ(tokens->forgets(), 1);
  EXPECT_TRUE(tokens->stored().empty());

  // Asked again, the user agrees: the new grant is kept.
  permission.request();
  ASSERT_TRUE(waitForAnswers(answers, 2));
  EXPECT_TRUE(permission.preflight());
  EXPECT_EQ(tokens->stored().size(), 1u);
}

TEST(ScreenSharingPermissionTest, NoAnswerReachesAHandlerThatWasTakenAway) {
  auto tokens = std::make_shared<FakeRestoreTokenStore>();
  ScreenSharingPermission permission(tokens);
  int answers = 0;
  permission.setAnswerHandler([&] { ++answers; });
  permission.request();
  permission.setAnswerHandler({});

  const QDeadlineTimer deadline(std::chrono::seconds(10));
  while (tokens->stored().empty() && !deadline.hasExpired()) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
  }
  ASSERT_EQ(tokens->stored().size(), 1u) << "the desktop never granted the share";
  for (int round = 0; round < 10; ++round) QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
  EXPECT_EQ(answers, 0);
}

}  // namespace
}  // namespace tarvelo
