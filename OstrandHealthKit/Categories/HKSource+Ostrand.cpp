#include <algorithm>
#include <array>
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

// ASCII only: the names searched for are ASCII, and other bytes of UTF-8 must stay as they are.
char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

// Where `lower` (all lower case) first occurs in `text` at or after `from`, ignoring the case of
// `text`; npos when it does not.
std::size_t findIgnoringCase(std::string_view text, std::string_view lower, std::size_t from) {
  if (from > text.size()) return std::string_view::npos;
  const auto found =
      std::search(text.begin() + static_cast<std::ptrdiff_t>(from), text.end(), lower.begin(),
                  lower.end(), [](char c, char wanted) { return lowered(c) == wanted; });
  return found == text.end() && !lower.empty() ? std::string_view::npos
                                               : static_cast<std::size_t>(found - text.begin());
}

bool matches(std::string_view line, const SourceNamePattern& pattern) {
  const auto first = findIgnoringCase(line, pattern.first, 0);
  if (first == std::string_view::npos) return false;
  if (pattern.second.empty()) return true;
  // The earliest `first` leaves the most room for the gap and `second`.
  return findIgnoringCase(line, pattern.second, first + pattern.first.size() + 1) !=
         std::string_view::npos;
}

// Runs once per record: plain case-blind searches of the name, a line at a time, without a
// regular expression or a lower-cased copy.
std::string_view canonicalNameFor(std::string_view name) {
  for (const auto& pattern : kSourceNamePatterns) {
    std::string_view rest = name;
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
  // A batch of samples comes from a handful of sources: each thread keeps its last answer.
  thread_local std::string lastName;
  thread_local std::string lastSanitized;
  if (name != lastName || lastSanitized.empty()) {
    const auto canonical = canonicalNameFor(name);
    lastSanitized = canonical.empty() ? name : canonical;
    lastName = name;
  }
  return lastSanitized;
}

std::string sanitizedName(const HKSource& source) {
  return sanitizedNameForSourceName(source.name());
}

bool isCurrentDevice(const HKSource& source) {
  return source.name() == UIDevice::currentDevice()->name();
}
