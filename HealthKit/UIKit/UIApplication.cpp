#include "HealthKit/UIKit/UIApplication.h"

#include <utility>

#include "Foundation/Dispatch.h"
#include "Foundation/NSNotificationCenter.h"

std::shared_ptr<UIApplication> UIApplication::sharedApplication() {
  // Never destroyed: expiration blocks and HealthKit workers may still reach it at exit.
  static const auto* const application = new std::shared_ptr<UIApplication>(new UIApplication());
  return *application;
}

UIApplicationState UIApplication::applicationState() const {
  std::lock_guard lock(mutex_);
  return state_;
}

void UIApplication::setApplicationState(UIApplicationState state) {
  UIApplicationState previous;
  {
    std::lock_guard lock(mutex_);
    previous = state_;
    state_ = state;
  }
  if (previous == state) return;
  auto& center = NSNotificationCenter::defaultCenter();
  if (state == UIApplicationStateBackground) {
    center.postNotificationName(UIApplicationDidEnterBackgroundNotification, nullptr, nullptr);
    return;
  }
  if (previous == UIApplicationStateBackground) {
    center.postNotificationName(UIApplicationWillEnterForegroundNotification, nullptr, nullptr);
  }
  if (state == UIApplicationStateActive) {
    center.postNotificationName(UIApplicationDidBecomeActiveNotification, nullptr, nullptr);
  }
}

UIBackgroundTaskIdentifier UIApplication::beginBackgroundTaskWithExpirationHandler(
    std::function<void()> handler) {
  std::lock_guard lock(mutex_);
  const UIBackgroundTaskIdentifier identifier = ++lastIdentifier_;
  openTasks_.emplace(identifier, Task{std::move(handler)});
  return identifier;
}

void UIApplication::endBackgroundTask(UIBackgroundTaskIdentifier identifier) {
  std::function<void()> handler;  // released outside the lock: it may own anything
  std::lock_guard lock(mutex_);
  auto task = openTasks_.find(identifier);
  if (task == openTasks_.end()) return;
  handler = std::move(task->second.expirationHandler);
  openTasks_.erase(task);
}

std::size_t UIApplication::openBackgroundTaskCount() const {
  std::lock_guard lock(mutex_);
  return openTasks_.size();
}

bool UIApplication::isBackgroundTaskOpen(UIBackgroundTaskIdentifier identifier) const {
  std::lock_guard lock(mutex_);
  return openTasks_.contains(identifier);
}

void UIApplication::expireBackgroundTasks() {
  std::vector<UIBackgroundTaskIdentifier> expiring;
  {
    std::lock_guard lock(mutex_);
    for (auto& [identifier, task] : openTasks_) {
      if (task.expiring) continue;
      task.expiring = true;
      expiring.push_back(identifier);
    }
  }
  auto self = sharedApplication();
  for (UIBackgroundTaskIdentifier identifier : expiring) {
    dispatch_async(dispatch_get_main_queue(), [self, identifier] { self->expire(identifier); });
  }
}

void UIApplication::expire(UIBackgroundTaskIdentifier identifier) {
  std::function<void()> handler;
  {
    std::lock_guard lock(mutex_);
    auto task = openTasks_.find(identifier);
    if (task == openTasks_.end()) return;  // ended (or reset) before its turn
    handler = task->second.expirationHandler;
  }
  if (handler) handler();
  std::lock_guard lock(mutex_);
  auto task = openTasks_.find(identifier);
  if (task == openTasks_.end()) return;
  // The handler let its task run on: the system ends it, as iOS terminates such an app.
  handler = std::move(task->second.expirationHandler);
  openTasks_.erase(task);
  endedBySystem_.push_back(identifier);
}

std::vector<UIBackgroundTaskIdentifier> UIApplication::backgroundTasksEndedBySystem() const {
  std::lock_guard lock(mutex_);
  return endedBySystem_;
}

void UIApplication::reset() {
  std::map<UIBackgroundTaskIdentifier, Task> dropped;  // released outside the lock
  std::lock_guard lock(mutex_);
  state_ = UIApplicationStateActive;
  dropped.swap(openTasks_);
  endedBySystem_.clear();
}
