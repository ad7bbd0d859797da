#pragma once

// NotificationCapture: collects the notifications of one name posted on a center while it lives
// (the default center unless given another). Posts may come from any thread; what was collected
// stays valid after the capture is gone, as the observer holds its own storage.
//
//   NotificationCapture processed(kOSTHealthKitRecordsProcessedNotification);
//   ...;
//   ASSERT_EQ(processed.notifications().size(), 1U);

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Foundation/NSNotificationCenter.h"

namespace testing_support {

class NotificationCapture {
 public:
  explicit NotificationCapture(const std::string& name,
                               NSNotificationCenter& center = NSNotificationCenter::defaultCenter())
      : center_(center), received_(std::make_shared<Received>()) {
    token_ = center_.addObserverForName(
        name, nullptr, [received = received_](const std::shared_ptr<const NSNotification>& note) {
          std::lock_guard lock(received->mutex);
          received->notifications.push_back(note);
        });
  }
  ~NotificationCapture() { center_.removeObserver(token_); }
  NotificationCapture(const NotificationCapture&) = delete;
  NotificationCapture& operator=(const NotificationCapture&) = delete;

  std::vector<std::shared_ptr<const NSNotification>> notifications() const {
    std::lock_guard lock(received_->mutex);
    return received_->notifications;
  }

 private:
  struct Received {
    std::mutex mutex;  // guards notifications
    std::vector<std::shared_ptr<const NSNotification>> notifications;
  };

  NSNotificationCenter& center_;
  // Shared with the observer block, which a post on another thread may still be running.
  std::shared_ptr<Received> received_;
  std::shared_ptr<const NSObject> token_;
};

}  // namespace testing_support
