#pragma once

// Progress: reports how far a long step has got. On a terminal it redraws one bar in place; on a
// pipe or file it writes a plain line when the step starts and when it ends, so logs stay
// readable.
//
//   Progress progress(std::cout, Progress::isTerminal(stdout));
//   progress.start("Living 90 days", 90);
//   for (...) progress.update(day + 1);
//   progress.finish();

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
  void finish();

 private:
  void draw(std::uint64_t done);

  std::ostream& out_;
  bool terminal_;
  std::string label_;
  std::uint64_t total_ = 0;
  int lastPercent_ = -1;
};

}  // namespace ostrand_tools
