#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <vector>

#include "Foundation/Dispatch.h"
#include "Foundation/NSNotificationCenter.h"
#include "Foundation/NSThread.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "HealthKit/UIKit/UIDevice.h"
#include "support/EnvironmentFixture.h"

namespace {

using UIKitTest = testing_support::EnvironmentFixture;

TEST_F(UIKitTest, StateChangesPostUIKitsNotificationsInOrder) {
  std::vector<std::string> posted;
  auto& center = NSNotificationCenter::defaultCenter();
  auto token = center.addObserverForName("", nullptr, [&](const auto& note) {
    if (note->name().rfind("UIApplication", 0) == 0) posted.push_back(note->name());
  });
  auto app = UIApplication::sharedApplication();
  app->setApplicationState(UIApplicationStateBackground);
  app->setApplicationState(UIApplicationStateBackground);  // no change, no notification
  app->setApplicationState(UIApplicationStateActive);
  app->setApplicationState(UIApplicationStateInactive);
  app->setApplicationState(UIApplicationStateActive);
  center.removeObserver(token);
  EXPECT_EQ(posted, (std::vector<std::string>{UIApplicationDidEnterBackgroundNotification,
                                              UIApplicationWillEnterForegroundNotification,
                                              UIApplicationDidBecomeActiveNotification,
                                              UIApplicationDidBecomeActiveNotification}));
}

TEST_F(UIKitTest, BackgroundTaskIdentifiersAreUniqueAndEndingIsIdempotent) {
  auto app = UIApplication::sharedApplication();
  std::set<UIBackgroundTaskIdentifier> seen;
  for (int i = 0; i < 100; ++i) {
    auto id = app->beginBackgroundTaskWithExpirationHandler(nullptr);
    EXPECT_NE(id, UIBackgroundTaskInvalid);
    EXPECT_TRUE(seen.insert(id).second);
  }
  EXPECT_EQ(app->openBackgroundTaskCount(), 100u);

  auto id = *seen.begin();
  app->endBackgroundTask(id);
  app->endBackgroundTask(id);
  app->endBackgroundTask(UIBackgroundTaskInvalid);
  EXPECT_FALSE(app->isBackgroundTaskOpen(id));
  EXPECT_EQ(app->openBackgroundTaskCount(), 99u);

  app->reset();
  EXPECT_EQ(app->openBackgroundTaskCount(), 0u);
  EXPECT_GT(app->beginBackgroundTaskWithExpirationHandler(nullptr), *seen.rbegin());
}

TEST_F(UIKitTest, ExpiryRunsHandlersOnTheMainQueueAndTheSystemEndsWhatTheyLeaveOpen) {
  auto app = UIApplication::sharedApplication();
  auto polite = std::make_shared<UIBackgroundTaskIdentifier>(UIBackgroundTaskInvalid);
  std::vector<bool> handlerOnMain;
  *polite = app->beginBackgroundTaskWithExpirationHandler([&, app, polite] {
    handlerOnMain.push_back(NSThread::isMainThread());
    app->endBackgroundTask(*polite);
    *polite = UIBackgroundTaskInvalid;
    app->endBackgroundTask(*polite);  // ending the invalid identifier afterwards is harmless
  });
  auto stubborn = app->beginBackgroundTaskWithExpirationHandler(
      [&] { handlerOnMain.push_back(NSThread::isMainThread()); });
  bool endedEarlyHandlerRan = false;
  auto endedEarly =
      app->beginBackgroundTaskWithExpirationHandler([&] { endedEarlyHandlerRan = true; });

  // Background time runs out on a worker thread; the handlers wait for the main queue.
  dispatch_sync(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0),
                [app] { app->expireBackgroundTasks(); });
  EXPECT_TRUE(handlerOnMain.empty());
  app->endBackgroundTask(endedEarly);
  app->expireBackgroundTasks();  // already expiring: handlers are not submitted twice
  runUntilIdle();

  EXPECT_EQ(handlerOnMain, (std::vector<bool>{true, true}));
  EXPECT_FALSE(endedEarlyHandlerRan);
  EXPECT_EQ(*polite, UIBackgroundTaskInvalid);
  EXPECT_EQ(app->openBackgroundTaskCount(), 0u);
  EXPECT_EQ(app->backgroundTasksEndedBySystem(), std::vector<UIBackgroundTaskIdentifier>{stubborn});
}

// A zero patch number is left out of the system version. The fixture's SetUp brings back the
// foreground state and the default device whatever a test changed.
TEST_F(UIKitTest, SystemVersionAndTheDefaultsTheFixtureRestores) {
  auto app = UIApplication::sharedApplication();
  auto device = UIDevice::currentDevice();
  app->setApplicationState(UIApplicationStateBackground);
  device->setName("Ada's iPhone");
  device->setModel("iPad");
  platform::Environment::shared().setOperatingSystemVersion({10, 3, 1});
  EXPECT_EQ(device->systemVersion(), "10.3.1");

  SetUp();
  EXPECT_EQ(app->applicationState(), UIApplicationStateActive);
  EXPECT_EQ(device->name(), "iPhone");
  EXPECT_EQ(device->model(), "iPhone");
  EXPECT_EQ(device->systemVersion(), "17.0");
}

}  // namespace
