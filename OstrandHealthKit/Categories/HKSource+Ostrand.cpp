#include <algorithm>
#include <array>
#include <cctype>
#include <string>

#include "HealthKit/UIKit/UIDevice.h"
#include "OstrandHealthKit/Categories/HKSource+Ostrand.h"

namespace {

// A canonical device name and what a source's name must hold to get it, compared without case:
// `first`, then `second` at least one character later on the same line (when `second` is set).
struct SourceNamePattern {
  std::string_view canonical;
  std::string_view first;
  std::string_view second;
};

// In the order they are tried.
constexpr std::array<SourceNamePattern, 3> kSourceNamePatterns = {{
    {"iPhone", "iphone", ""},
    {"Apple Watch", "apple", "watch"},
    {"iPod touch", "ipod", "touch"},
}};

bool matches(std::string_view line, const SourceNamePattern& pattern) {
  const auto first = line.find(pattern.first);
  if (first == std::string_view::npos) return false;
  if (pattern.second.empty()) return true;
  // The earliest `first` leaves the most room for the gap and `second`.
  return line.find(pattern.second, first + pattern.first.size() + 1) != std::string_view::npos;
}

// Runs once per record on HealthKit's worker threads: plain searches of the lower-cased name, a
// line at a time, without a regular expression.
std::string_view canonicalNameFor(std::string_view name) {
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  for (const auto& pattern : kSourceNamePatterns) {
    std::string_view rest = lower;
    while (true) {
      const auto end = rest.find_first_of("\r\n");
      if (matches(rest.substr(0, end), pattern)) return pattern.canonical;
      if (end == std::string_view::npos) break;
      rest.remove_prefix(end + 1);
    }
  }
  return {};
}

}  // namespace

std::string sanitizedNameForSourceName(std::string_view name) {
  const auto canonical = canonicalNameFor(name);
  return std::string(canonical.empty() ? name : canonical);
}

std::string sanitizedName(const HKSource& source) {
  return sanitizedNameForSourceName(source.name());
}

bool isCurrentDevice(const HKSource& source) {
  return source.name() == UIDevice::currentDevice()->name();
}
