#pragma once

// UIApplication: the application object of UIKit, as far as the library needs it: whether the
// application runs in the foreground or background, and background tasks, which ask the system
// for time to finish work after the application leaves the foreground.
//
// The sync engine begins a background task around every fetch and ends it when the fetch is
// done, or from the task's expiration handler when background time runs out. The host (the
// demo, tests) sets the application state and makes background time run out.
//
// Thread-safe: every member may be called from any thread. Expiration handlers run on the main
// queue, as iOS calls them on the main thread. The shared application is never destroyed, so
// blocks still running at process exit may use it.
//
//   auto app = UIApplication::sharedApplication();
//   auto task = std::make_shared<UIBackgroundTaskIdentifier>(UIBackgroundTaskInvalid);
//   *task = app->beginBackgroundTaskWithExpirationHandler([app, task] {
//     app->endBackgroundTask(*task);
//     *task = UIBackgroundTaskInvalid;
//   });

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

using UIBackgroundTaskIdentifier = unsigned long;

// Never returned by beginBackgroundTaskWithExpirationHandler(); ending it does nothing.
inline constexpr UIBackgroundTaskIdentifier UIBackgroundTaskInvalid = 0;

// Posted on the default notification center by setApplicationState(), on the calling thread (the
// main thread, as UIKit posts them), when the state changes: entering the background, leaving it,
// and becoming active.
inline const std::string UIApplicationDidEnterBackgroundNotification =
    "UIApplicationDidEnterBackgroundNotification";
inline const std::string UIApplicationWillEnterForegroundNotification =
    "UIApplicationWillEnterForegroundNotification";
inline const std::string UIApplicationDidBecomeActiveNotification =
    "UIApplicationDidBecomeActiveNotification";

enum UIApplicationState : long {
  UIApplicationStateActive = 0,
  UIApplicationStateInactive = 1,
  UIApplicationStateBackground = 2,
};

class UIApplication {
 public:
  static std::shared_ptr<UIApplication> sharedApplication();

  UIApplicationState applicationState() const;

  // Opens a background task and returns its identifier: unique for the life of the process,
  // never UIBackgroundTaskInvalid. The handler (optional) runs at most once, on the main queue,
  // if background time runs out while the task is open; it should end the task.
  UIBackgroundTaskIdentifier beginBackgroundTaskWithExpirationHandler(
      std::function<void()> handler);

  // Closes the task. Ending UIBackgroundTaskInvalid, an unknown or an already ended task does
  // nothing.
  void endBackgroundTask(UIBackgroundTaskIdentifier identifier);

  // --- For the host and tests ---

  // Changes the state and posts the notifications above that the change calls for.
  void setApplicationState(UIApplicationState state);

  std::size_t openBackgroundTaskCount() const;
  bool isBackgroundTaskOpen(UIBackgroundTaskIdentifier identifier) const;

  // Background time runs out: for every open task not already expiring, its expiration handler
  // is submitted to the main queue (so it runs when the main queue next drains). A task whose
  // handler did not end it is then ended by the system and listed in
  // backgroundTasksEndedBySystem(). A task ended before its handler's turn is left alone.
  void expireBackgroundTasks();

  // Tasks the system had to end because their expiration handler did not, in that order.
  std::vector<UIBackgroundTaskIdentifier> backgroundTasksEndedBySystem() const;

  // Back to a fresh launch in the foreground: no open tasks, nothing recorded. Identifiers keep
  // counting up, so none handed out before is ever reused.
  void reset();

 private:
  UIApplication() = default;

  struct Task {
    std::function<void()> expirationHandler;
    bool expiring = false;
  };

  // Runs on the main queue: the task's handler, then the system's end of the task if needed.
  void expire(UIBackgroundTaskIdentifier identifier);

  mutable std::mutex mutex_;  // guards every field below
  UIApplicationState state_ = UIApplicationStateActive;
  UIBackgroundTaskIdentifier lastIdentifier_ = UIBackgroundTaskInvalid;
  std::map<UIBackgroundTaskIdentifier, Task> openTasks_;
  std::vector<UIBackgroundTaskIdentifier> endedBySystem_;
};
