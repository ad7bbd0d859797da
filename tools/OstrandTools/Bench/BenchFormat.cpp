#include "tools/OstrandTools/Bench/BenchFormat.h"

#include <cmath>
#include <cstdio>

namespace ostrand_tools {

namespace {

std::string printed(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

}  // namespace

std::string countText(double count) {
  std::string digits = printed("%.0f", std::round(count));
  const std::size_t firstDigit = digits.front() == '-' ? 1 : 0;
  for (std::size_t i = digits.size(); i > firstDigit + 3; i -= 3) digits.insert(i - 3, ",");
  return digits;
}

std::string rateText(double count, double seconds, const std::string& what) {
  if (seconds <= 0) return "-";
  return countText(count / seconds) + " " + what + "/s";
}

std::string durationText(double seconds) {
  if (seconds < 1e-3) return printed("%.0f us", seconds * 1e6);
  if (seconds < 1) return printed("%.1f ms", seconds * 1e3);
  return printed("%.2f s", seconds);
}

std::string countOf(std::size_t count, const std::string& noun) {
  return countText(static_cast<double>(count)) + " " + noun + (count == 1 ? "" : "s");
}

std::string mebibytesText(double bytes) { return printed("%.1f MiB", bytes / (1024.0 * 1024.0)); }

}  // namespace ostrand_tools
