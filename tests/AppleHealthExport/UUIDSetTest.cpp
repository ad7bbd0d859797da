#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "AppleHealthExport/internal/UUIDSet.h"

namespace {

using apple_health_export::UUIDSet;

NSUUID numbered(std::uint64_t high, std::uint64_t low) {
  NSUUID::Bytes bytes{};
  for (int i = 0; i < 8; ++i) {
    bytes[7 - i] = static_cast<std::uint8_t>(high >> (8 * i));
    bytes[15 - i] = static_cast<std::uint8_t>(low >> (8 * i));
  }
  return NSUUID(bytes);
}

// Spread-out UUIDs, UUIDs that differ in a few low bits and the nil UUID, through the set's
// growth: each is new once, found afterwards, and its neighbours are not.
TEST(UUIDSetTest, KeepsExactlyWhatWasInsertedThroughGrowth) {
  std::mt19937_64 random(5);
  std::vector<NSUUID> inserted{numbered(0, 0)};
  for (int i = 0; i < 4000; ++i) inserted.push_back(numbered(random(), random()));
  for (std::uint64_t i = 1; i <= 3000; ++i) inserted.push_back(numbered(0, i * 4096));

  UUIDSet set;
  for (const auto& uuid : inserted) EXPECT_TRUE(set.insert(uuid));
  for (const auto& uuid : inserted) {
    EXPECT_TRUE(set.contains(uuid));
    EXPECT_FALSE(set.insert(uuid));
  }
  EXPECT_EQ(set.size(), inserted.size());
  for (std::uint64_t i = 1; i <= 3000; ++i) EXPECT_FALSE(set.contains(numbered(0, i * 4096 + 1)));
}

}  // namespace
