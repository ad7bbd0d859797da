#include "OstrandCore/OSTLog.h"

#include <atomic>
#include <cstdio>
#include <iostream>
#include <mutex>

namespace {

struct LogState {
  std::mutex mutex;  // guards handler
  OSTLog::Handler handler;
  std::atomic<int> level{OSTLog::Info};
};

// Never destroyed: threads may log while the process exits.
LogState& state() {
  static auto* const shared = new LogState();
  return *shared;
}

}  // namespace

std::string OSTLog::format(std::string_view format, std::initializer_list<Argument> arguments) {
  return NSString::stringWithFormatArguments(format, arguments);
}

int OSTLog::level() { return state().level.load(std::memory_order_relaxed); }

void OSTLog::setLevel(int level) { state().level.store(level, std::memory_order_relaxed); }

void OSTLog::setHandler(Handler handler) {
  std::lock_guard lock(state().mutex);
  state().handler = std::move(handler);
}

void OSTLog::write(int level, std::string_view format, std::initializer_list<Argument> arguments) {
  const std::string line = OSTLog::format(format, arguments);
  std::lock_guard lock(state().mutex);
  if (state().handler) {
    state().handler(level, line);
  } else {
    std::cerr << "OSTLog[" << level << "] " << line << '\n';
  }
}
