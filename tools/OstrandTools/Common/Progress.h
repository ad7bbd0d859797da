#pragma once

// Progress: reports how far a long step has got. On a terminal it redraws one bar in place; on a
// pipe or file it writes a plain line when the step starts and when it ends, so logs stay
// readable. Given a detail (the simulated date, say), the bar shows it and an estimate of the
// time left, from the process's steady clock and the share done so far.
//
//   Progress progress(std::cout, Progress::isTerminal(stdout));
//   progress.start("Living 90 days", 90);
//   for (...) progress.update(day + 1);
//   progress.finish();

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ostream>
#include <string>

namespace ostrand_tools {

class Progress {
 public:
  Progress(std::ostream& out, bool terminal) : out_(out), terminal_(terminal) {}

  static bool isTerminal(std::FILE* file);

  void start(std::string label, std::uint64_t total);
  void update(std::uint64_t done);
  void update(std::uint64_t done, const std::string& detail);
  void finish();

 private:
  void draw(std::uint64_t done);
  std::string timeLeft(double fraction) const;

  std::ostream& out_;
  bool terminal_;
  std::string label_;
  std::uint64_t total_ = 0;
  int lastPercent_ = -1;
  std::string detail_;
  std::chrono::steady_clock::time_point started_;
};

}  // namespace ostrand_tools
