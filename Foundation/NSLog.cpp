#include "Foundation/NSLog.h"

#include <cstdio>
#include <mutex>

#include "Foundation/Platform/SystemLog.h"

namespace {

struct SystemLogState {
  std::mutex mutex;  // guards sink and serialises writes
  platform::SystemLog::Sink sink;
};

// Never destroyed: worker threads may log while the process exits.
SystemLogState& state() {
  static auto* const shared = new SystemLogState();
  return *shared;
}

}  // namespace

namespace ns_log_detail {

void write(const std::string& message) {
  auto& shared = state();
  std::lock_guard lock(shared.mutex);
  if (shared.sink) {
    shared.sink(message);
  } else {
    std::fprintf(stderr, "%s\n", message.c_str());
  }
}

}  // namespace ns_log_detail

namespace platform {

void SystemLog::setSink(Sink sink) {
  auto& shared = state();
  std::lock_guard lock(shared.mutex);
  shared.sink = std::move(sink);
}

}  // namespace platform
