#include "OstrandCore/internal/OSTAutosave.h"

#include <utility>

#include "Foundation/Dispatch.h"
#include "Foundation/NSNotificationCenter.h"

std::shared_ptr<OSTAutosave> OSTAutosave::start(Write write) {
  std::shared_ptr<OSTAutosave> autosave(new OSTAutosave(std::move(write)));
  std::weak_ptr<OSTAutosave> weak = autosave;
  // Observed before anyone else can reach the object: no lock needed yet.
  autosave->observer_ = NSNotificationCenter::defaultCenter().addObserverForName(
      UIApplicationDidEnterBackgroundNotification, nullptr, [weak](const auto&) {
        if (auto self = weak.lock()) self->writeNow();
      });
  return autosave;
}

OSTAutosave::~OSTAutosave() {
  if (observer_) NSNotificationCenter::defaultCenter().removeObserver(observer_);
}

void OSTAutosave::changed() {
  unwritten_ = true;
  std::lock_guard lock(mutex_);
  if (!write_ || scheduled_) return;
  scheduled_ = true;
  std::weak_ptr<OSTAutosave> weak = weak_from_this();
  task_ = UIApplication::sharedApplication()->beginBackgroundTaskWithExpirationHandler([weak] {
    if (auto self = weak.lock()) self->writeNow();
  });
  dispatch_async(dispatch_get_main_queue(), [self = shared_from_this()] { self->writeNow(); });
}

bool OSTAutosave::takeChanges() { return unwritten_.exchange(false); }

void OSTAutosave::keepChanges() { unwritten_ = true; }

void OSTAutosave::writeNow() {
  UIBackgroundTaskIdentifier task = UIBackgroundTaskInvalid;
  {
    std::lock_guard lock(mutex_);
    scheduled_ = false;
    task = std::exchange(task_, UIBackgroundTaskInvalid);
    // Taken before the write reads the data: a change made meanwhile is written again later.
    if (write_ && unwritten_.exchange(false) && !write_()) unwritten_ = true;
  }
  UIApplication::sharedApplication()->endBackgroundTask(task);
}

void OSTAutosave::detach() {
  UIBackgroundTaskIdentifier task = UIBackgroundTaskInvalid;
  std::shared_ptr<const NSObject> observer;
  {
    std::lock_guard lock(mutex_);
    write_ = nullptr;
    scheduled_ = false;
    task = std::exchange(task_, UIBackgroundTaskInvalid);
    observer = std::move(observer_);
  }
  if (observer) NSNotificationCenter::defaultCenter().removeObserver(observer);
  UIApplication::sharedApplication()->endBackgroundTask(task);
}
