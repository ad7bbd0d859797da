#pragma once

// BenchNoise: the generated person's randomness: a fixed value in [0, 1) for any pair of
// numbers, so that the same day, minute or record always gets the same value and the export is
// the same file every time, whatever order it is written in.
//
// Stateless; any thread.
//
//   double steps = 40 + 400 * BenchNoise::unit(day, minute);

#include <cstdint>

namespace ostrand_tools {

class BenchNoise {
 public:
  static double unit(std::uint64_t a, std::uint64_t b) {
    std::uint64_t x = a * 0x9E3779B97F4A7C15ull + b + 0x632BE59BD9B4E019ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    x ^= x >> 31;
    return static_cast<double>(x >> 11) / static_cast<double>(std::uint64_t{1} << 53);
  }
  // `unit` for signed moments (seconds since 1970 may be negative in tests).
  static double at(std::int64_t moment, std::uint64_t salt) {
    return unit(static_cast<std::uint64_t>(moment), salt);
  }
};

}  // namespace ostrand_tools
