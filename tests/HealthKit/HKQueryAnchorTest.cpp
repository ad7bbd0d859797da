#include <gtest/gtest.h>

#include <climits>

#include "HealthKit/HKQueryAnchor.h"

namespace {

TEST(HKQueryAnchorTest, ArchiveRoundTripsAndAnchorsOrderByPosition) {
  for (unsigned long value : {0ul, 1ul, 42ul, ULONG_MAX}) {
    auto anchor = HKQueryAnchor::anchorFromValue(value);
    auto restored = HKQueryAnchor::anchorWithArchivedData(anchor->archivedData());
    ASSERT_NE(restored, nullptr) << anchor->archivedData();
    EXPECT_EQ(*restored, *anchor);
    EXPECT_EQ(restored->hash(), anchor->hash());
  }
  EXPECT_LT(*HKQueryAnchor::anchorFromValue(9), *HKQueryAnchor::anchorFromValue(10));
  EXPECT_FALSE(HKQueryAnchor::anchorFromValue(9)->isEqual(*HKQueryAnchor::anchorFromValue(10)));
}

TEST(HKQueryAnchorTest, MalformedArchivesGiveNoAnchor) {
  for (const char* data :
       {"", "42", "HKQueryAnchor:", "HKQueryAnchor:-1", "HKQueryAnchor:+1", "HKQueryAnchor:007",
        "HKQueryAnchor:12x", "HKQueryAnchor: 12", "HKQueryAnchor:99999999999999999999999",
        "hkqueryanchor:12", "HKQueryAnchor:1.5"}) {
    EXPECT_EQ(HKQueryAnchor::anchorWithArchivedData(data), nullptr) << data;
  }
  // Embedded NUL: the whole string counts, not the C string.
  EXPECT_EQ(HKQueryAnchor::anchorWithArchivedData(std::string("HKQueryAnchor:1\0"
                                                              "2",
                                                              17)),
            nullptr);
}

}  // namespace
