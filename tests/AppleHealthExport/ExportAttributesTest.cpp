#include <gtest/gtest.h>

#include "AppleHealthExport/internal/ExportAttributes.h"

namespace {

using apple_health_export::ExportAttributes;

TEST(ExportAttributesTest, ValuesByName) {
  const char* list[] = {"type", "HKQuantityTypeIdentifierStepCount", "unit", "count", "value", "",
                        nullptr};
  ExportAttributes attributes(list);
  EXPECT_EQ(attributes.value("type"), "HKQuantityTypeIdentifierStepCount");
  EXPECT_EQ(attributes.value("unit"), "count");
  EXPECT_TRUE(attributes.has("value"));
  EXPECT_EQ(attributes.value("value"), "");
  EXPECT_FALSE(attributes.has("device"));
  EXPECT_EQ(attributes.value("device"), "");
  EXPECT_FALSE(attributes.has("typ"));
  EXPECT_FALSE(attributes.empty());
}

TEST(ExportAttributesTest, AssignReplacesEverything) {
  const char* first[] = {"type", "a", "sourceName", "Anna's iPhone", nullptr};
  const char* second[] = {"key", "HKTimeZone", nullptr};
  const char* none[] = {nullptr};
  ExportAttributes attributes(first);
  attributes.assign(second);
  EXPECT_FALSE(attributes.has("type"));
  EXPECT_EQ(attributes.value("key"), "HKTimeZone");
  attributes.assign(none);
  EXPECT_TRUE(attributes.empty());
  EXPECT_FALSE(attributes.has("key"));
}

}  // namespace
