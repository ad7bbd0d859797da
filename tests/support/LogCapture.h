#pragma once

// LogCapture: collects the lines OSTLog writes while it lives, then puts the default handler
// back. One at a time; lines may come from any thread.
//
//   LogCapture log;
//   ...;
//   EXPECT_THAT(log.lines(), ElementsAre("OSTSession: cannot open ..."));

#include <mutex>
#include <string>
#include <vector>

#include "OstrandCore/OSTLog.h"

namespace testing_support {

class LogCapture {
 public:
  LogCapture() {
    OSTLog::setHandler([this](int level, const std::string& line) {
      std::lock_guard lock(mutex_);
      lines_.push_back(line);
      levels_.push_back(level);
    });
  }
  ~LogCapture() { OSTLog::setHandler(nullptr); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<std::string> lines() const {
    std::lock_guard lock(mutex_);
    return lines_;
  }
  std::vector<int> levels() const {
    std::lock_guard lock(mutex_);
    return levels_;
  }

 private:
  mutable std::mutex mutex_;  // guards lines_ and levels_
  std::vector<std::string> lines_;
  std::vector<int> levels_;
};

}  // namespace testing_support
