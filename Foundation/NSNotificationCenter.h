#pragma once

// NSNotificationCenter: delivers notifications to the blocks registered for them. The engine
// posts on the default center to announce processed records; the app observes it.
//
// Thread-safe. Observers run synchronously on the posting thread, in registration order. The
// center calls blocks without holding its lock, so a block may post, add observers, or remove
// itself or others. An observer removed before a post begins, or by an earlier block of the same
// post, is not called; removeObserver does not wait for a call already running on another
// thread. The center keeps no strong reference to the objects observers filter on.
// Observers use the posting thread: there is no queue argument.
//
//   auto token = NSNotificationCenter::defaultCenter().addObserverForName(
//       "OSTRecordsProcessed", nullptr,
//       [](const std::shared_ptr<const NSNotification>& note) { ... });
//   NSNotificationCenter::defaultCenter().postNotificationName("OSTRecordsProcessed", nullptr,
//                                                              info);
//   NSNotificationCenter::defaultCenter().removeObserver(token);

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Foundation/NSDictionary.h"
#include "Foundation/NSNotification.h"
#include "Foundation/NSObject.h"

class NSNotificationCenter {
 public:
  using Block = std::function<void(const std::shared_ptr<const NSNotification>&)>;

  NSNotificationCenter() = default;
  NSNotificationCenter(const NSNotificationCenter&) = delete;
  NSNotificationCenter& operator=(const NSNotificationCenter&) = delete;

  // The process-wide center.
  static NSNotificationCenter& defaultCenter();

  // Calls `block` for every notification posted with `name` (empty: any name) by `object`
  // (nullptr: any sender). Returns the token that removes the observer; keeping the token is not
  // needed to keep the observer registered. An empty block registers nothing that would run.
  std::shared_ptr<const NSObject> addObserverForName(const std::string& name,
                                                     std::shared_ptr<const NSObject> object,
                                                     Block block);
  // Unregisters the observer the token stands for; unknown or null tokens are ignored.
  void removeObserver(const std::shared_ptr<const NSObject>& token);

  void postNotification(const std::shared_ptr<const NSNotification>& notification);
  void postNotificationName(const std::string& name,
                            std::shared_ptr<const NSObject> object = nullptr,
                            std::shared_ptr<const NSDictionary> userInfo = nullptr);

 private:
  class Observer;

  mutable std::mutex observersMutex_;  // guards observers_
  std::vector<std::shared_ptr<Observer>> observers_;
};
