#include "OstrandHealthKit/OSTBackgroundTask.h"

std::shared_ptr<OSTBackgroundTask> OSTBackgroundTask::begin() {
  auto task = std::make_shared<OSTBackgroundTask>();
  task->identifier_ = UIApplication::sharedApplication()->beginBackgroundTaskWithExpirationHandler(
      [task] { task->end(); });
  return task;
}

void OSTBackgroundTask::end() {
  UIApplication::sharedApplication()->endBackgroundTask(
      identifier_.exchange(UIBackgroundTaskInvalid));
}
