#include "Foundation/NSNotificationCenter.h"

#include <atomic>

// One registration; the object handed out as its token.
class NSNotificationCenter::Observer : public NSObject {
 public:
  Observer(std::string name, const std::shared_ptr<const NSObject>& object, Block block)
      : name_(std::move(name)),
        object_(object),
        filtersObject_(object != nullptr),
        block_(std::move(block)) {}

  bool matches(const NSNotification& notification) const {
    if (!name_.empty() && name_ != notification.name()) return false;
    if (!filtersObject_) return true;
    // Owner equivalence: same object even if it has since died and its address been reused.
    const auto& sender = notification.object();
    return sender && !object_.owner_before(sender) && !sender.owner_before(object_);
  }

  std::string className() const override { return "NSNotificationCenterObserver"; }

  const std::string name_;
  const std::weak_ptr<const NSObject> object_;  // not kept alive by the center
  const bool filtersObject_;
  const Block block_;
  std::atomic<bool> removed_{false};
};

NSNotificationCenter& NSNotificationCenter::defaultCenter() {
  static NSNotificationCenter center;
  return center;
}

std::shared_ptr<const NSObject> NSNotificationCenter::addObserverForName(
    const std::string& name, std::shared_ptr<const NSObject> object, Block block) {
  auto observer = std::make_shared<Observer>(name, object, std::move(block));
  std::lock_guard lock(observersMutex_);
  observers_.push_back(observer);
  return observer;
}

void NSNotificationCenter::removeObserver(const std::shared_ptr<const NSObject>& token) {
  if (!token) return;
  std::lock_guard lock(observersMutex_);
  std::erase_if(observers_, [&](const std::shared_ptr<Observer>& observer) {
    if (observer != token) return false;
    observer->removed_ = true;
    return true;
  });
}

void NSNotificationCenter::postNotification(
    const std::shared_ptr<const NSNotification>& notification) {
  if (!notification) return;
  std::vector<std::shared_ptr<Observer>> receivers;
  {
    std::lock_guard lock(observersMutex_);
    for (const auto& observer : observers_) {
      if (observer->matches(*notification)) receivers.push_back(observer);
    }
  }
  // Blocks run without the lock; an observer removed by an earlier block is skipped.
  for (const auto& observer : receivers) {
    if (!observer->removed_ && observer->block_) observer->block_(notification);
  }
}

void NSNotificationCenter::postNotificationName(const std::string& name,
                                                std::shared_ptr<const NSObject> object,
                                                std::shared_ptr<const NSDictionary> userInfo) {
  postNotification(
      NSNotification::notificationWithName(name, std::move(object), std::move(userInfo)));
}
