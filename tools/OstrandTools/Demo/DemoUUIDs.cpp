#include "tools/OstrandTools/Demo/DemoUUIDs.h"

namespace ostrand_tools {

namespace {

// SplitMix64's step: a bijection of 64-bit values that scatters neighbouring inputs.
std::uint64_t mix(std::uint64_t x) {
  x += 0x9E3779B97F4A7C15ULL;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
  return x ^ (x >> 31);
}

void putBigEndian(std::uint64_t value, std::uint8_t* out) {
  for (int i = 0; i < 8; ++i) out[i] = static_cast<std::uint8_t>(value >> (56 - 8 * i));
}

}  // namespace

DemoUUIDs::DemoUUIDs(unsigned seed) : seedKey_(mix(seed)) {}

void DemoUUIDs::startDay(int dayIndex) {
  day_ = static_cast<std::uint32_t>(dayIndex);
  ordinal_ = 0;
}

NSUUID DemoUUIDs::next() {
  // For one seed, distinct places give distinct `unique` values (mix is a bijection).
  const std::uint64_t place = (day_ << 32) | ordinal_++;
  const std::uint64_t unique = mix(seedKey_ ^ place);
  NSUUID::Bytes bytes{};
  putBigEndian(unique, bytes.data());
  putBigEndian(mix(unique), bytes.data() + 8);
  // The version takes the high half of byte 6; those four bits of `unique` move into byte 8,
  // below the variant's two, so all 64 bits of it stay in the UUID.
  bytes[8] = static_cast<std::uint8_t>(0x80 | (bytes[6] >> 4));
  bytes[6] = static_cast<std::uint8_t>(0x40 | (bytes[6] & 0x0F));
  return NSUUID(bytes);
}

}  // namespace ostrand_tools
