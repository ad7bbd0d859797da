#pragma once

// SystemLogCapture: collects the messages NSLog writes while it lives, then puts standard error
// back. One at a time; messages may come from any thread.
//
//   SystemLogCapture systemLog;
//   ...;
//   EXPECT_THAT(systemLog.messages(), ElementsAre(StartsWith("HealthKit Authorization Error: ")));

#include <mutex>
#include <string>
#include <vector>

#include "Foundation/Platform/SystemLog.h"

namespace testing_support {

class SystemLogCapture {
 public:
  SystemLogCapture() {
    platform::SystemLog::setSink([this](const std::string& message) {
      std::lock_guard lock(mutex_);
      messages_.push_back(message);
    });
  }
  ~SystemLogCapture() { platform::SystemLog::setSink(nullptr); }
  SystemLogCapture(const SystemLogCapture&) = delete;
  SystemLogCapture& operator=(const SystemLogCapture&) = delete;

  std::vector<std::string> messages() const {
    std::lock_guard lock(mutex_);
    return messages_;
  }

 private:
  mutable std::mutex mutex_;  // guards messages_
  std::vector<std::string> messages_;
};

}  // namespace testing_support
