#include <gtest/gtest.h>

#include <vector>

#include "AppleHealthExport/internal/UUIDSet.h"

namespace {

using apple_health_export::UUIDSet;

NSUUID numbered(std::uint64_t number) {
  NSUUID::Bytes bytes{};
  for (int i = 0; i < 8; ++i) bytes[15 - i] = static_cast<std::uint8_t>(number >> (8 * i));
  return NSUUID(bytes);
}

TEST(UUIDSetTest, KeepsWhatIsInsertedThroughGrowth) {
  UUIDSet set;
  std::vector<NSUUID> random(5000);
  for (const auto& uuid : random) EXPECT_TRUE(set.insert(uuid));
  for (const auto& uuid : random) {
    EXPECT_TRUE(set.contains(uuid));
    EXPECT_FALSE(set.insert(uuid));
  }
  EXPECT_EQ(set.size(), random.size());
  EXPECT_FALSE(set.contains(NSUUID()));
}

TEST(UUIDSetTest, UUIDsThatDifferInFewBits) {
  UUIDSet set;
  for (std::uint64_t i = 1; i <= 3000; ++i) EXPECT_TRUE(set.insert(numbered(i * 4096)));
  for (std::uint64_t i = 1; i <= 3000; ++i) {
    EXPECT_TRUE(set.contains(numbered(i * 4096)));
    EXPECT_FALSE(set.contains(numbered(i * 4096 + 1)));
  }
}

TEST(UUIDSetTest, TheNilUUID) {
  UUIDSet set;
  EXPECT_FALSE(set.contains(numbered(0)));
  EXPECT_TRUE(set.insert(numbered(0)));
  EXPECT_FALSE(set.insert(numbered(0)));
  EXPECT_TRUE(set.contains(numbered(0)));
  EXPECT_EQ(set.size(), 1u);
}

}  // namespace
