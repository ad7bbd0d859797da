#pragma once

// How the bench writes its numbers for people: counts with thousands separators, durations in
// the unit that suits them, memory in MiB.
//
// Stateless functions; any thread.

#include <cstdint>
#include <string>

namespace ostrand_tools {

// 1234567 -> "1,234,567" (rounded to a whole number).
std::string countText(double count);
// "<count> <what>/s" for `count` items in `seconds`: "12,000 records/s".
std::string rateText(double count, double seconds, const std::string& what);
// 0.0123 -> "12.3 ms"; 1.5 -> "1.50 s"; below a millisecond in microseconds.
std::string durationText(double seconds);
// (1, "run") -> "1 run"; (5, "run") -> "5 runs".
std::string countOf(std::size_t count, const std::string& noun);
// 3145728 -> "3.0 MiB".
std::string mebibytesText(double bytes);

}  // namespace ostrand_tools
