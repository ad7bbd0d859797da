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

constexpr std::string_view kFlagsAndWidth = "-+ #0123456789.";
constexpr std::string_view kLengthModifiers = "hlqjzt";
constexpr std::string_view kConversions = "@sdiufgeFGExXc";

}  // namespace

namespace ns_log_detail {

std::string format(std::string_view format, const std::vector<std::string>& arguments) {
  std::string out;
  auto next = arguments.begin();
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') {
      out += format[i];
      continue;
    }
    if (i + 1 < format.size() && format[i + 1] == '%') {
      out += '%';
      ++i;
      continue;
    }
    std::size_t j = i + 1;
    while (j < format.size() && kFlagsAndWidth.find(format[j]) != std::string_view::npos) ++j;
    while (j < format.size() && kLengthModifiers.find(format[j]) != std::string_view::npos) ++j;
    if (j >= format.size() || kConversions.find(format[j]) == std::string_view::npos) {
      // Not a placeholder: kept as written.
      out += format[i];
      continue;
    }
    out += next == arguments.end() ? "(missing)" : *next++;
    i = j;
  }
  return out;
}

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
