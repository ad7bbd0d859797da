#pragma once

// BenchStopwatch: wall time on the steady clock since it was made (or restarted), and the median
// of repeated measurements, which one slow run (another process taking the core) moves less
// than the mean.
//
//   BenchStopwatch watch;
//   work();
//   runs.push_back(watch.seconds());
//   double typical = BenchStopwatch::median(runs);

#include <chrono>
#include <vector>

namespace ostrand_tools {

class BenchStopwatch {
 public:
  BenchStopwatch() : start_(std::chrono::steady_clock::now()) {}

  void restart() { start_ = std::chrono::steady_clock::now(); }
  double seconds() const { return secondsBetween(start_, std::chrono::steady_clock::now()); }

  static double secondsBetween(std::chrono::steady_clock::time_point from,
                               std::chrono::steady_clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
  }
  // The middle value (the mean of the two middle ones for an even count); 0 for none.
  static double median(std::vector<double> values);

 private:
  std::chrono::steady_clock::time_point start_;
};

}  // namespace ostrand_tools
