#pragma once

// OSTBackgroundTask: a UIKit background task that keeps the process alive while the engine
// starts or runs a fetch. Its expiration handler ends it when background time runs out; the
// engine ends it when the work is done. Whichever comes first ends the task and marks it
// invalid, so the other does nothing.
//
// Thread-safe: end() may be called from any thread, any number of times. Hold it by
// std::shared_ptr and capture it in the blocks that end it.
//
//   auto task = OSTBackgroundTask::begin();
//   dispatch_async(dispatch_get_main_queue(), [task] { ...; task->end(); });

#include <atomic>
#include <memory>

#include "HealthKit/UIKit/UIApplication.h"

class OSTBackgroundTask {
 public:
  // Begins a task on the shared application.
  static std::shared_ptr<OSTBackgroundTask> begin();

  // Ends the task unless it was ended already.
  void end();

  // UIBackgroundTaskInvalid once ended.
  UIBackgroundTaskIdentifier identifier() const { return identifier_.load(); }

 private:
  // Set once by begin() before the task is handed out; exchanged for UIBackgroundTaskInvalid by
  // whichever end() comes first. If background time ran out before begin() stored it, the
  // expiration handler finds nothing to end and the system ends the task itself.
  std::atomic<UIBackgroundTaskIdentifier> identifier_{UIBackgroundTaskInvalid};
};
