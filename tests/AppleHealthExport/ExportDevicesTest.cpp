#include <gtest/gtest.h>

#include "AppleHealthExport/internal/ExportDevices.h"
#include "AppleHealthExport/internal/ExportValues.h"

namespace {

using apple_health_export::ExportDevices;

constexpr const char* kWatchAt1 =
    "<<HKDevice: 0x283f1e2b0>, name:Apple Watch, manufacturer:Apple Inc., model:Watch, "
    "hardware:Watch5,3, software:7.0.1>";
constexpr const char* kWatchAt2 =
    "<<HKDevice: 0x283f1f9c0>, name:Apple Watch, manufacturer:Apple Inc., model:Watch, "
    "hardware:Watch5,3, software:7.0.1>";
constexpr const char* kPhone =
    "<<HKDevice: 0x283f1e2b0>, name:iPhone, manufacturer:Apple Inc., model:iPhone, "
    "hardware:iPhone12,1, software:14.2>";

TEST(ExportDevicesTest, OneDevicePerSetOfProperties) {
  ExportDevices devices;
  auto watch = devices.deviceFor(kWatchAt1);
  ASSERT_NE(watch, nullptr);
  EXPECT_EQ(devices.deviceFor(kWatchAt2), watch);  // the address means nothing
  auto phone = devices.deviceFor(kPhone);
  ASSERT_NE(phone, nullptr);
  EXPECT_NE(phone, watch);
  EXPECT_EQ(phone->hardwareVersion(), "iPhone12,1");
}

TEST(ExportDevicesTest, TheDeviceItsPropertiesDescribe) {
  ExportDevices devices;
  for (const char* text : {kWatchAt1, kPhone, "<<HKDevice: 0x1>>", "<<HKDevice: 0x, name:Watch>",
                           "<<HKDevice: 0x1>, nonsense:1>", "not a device", ""}) {
    auto cached = devices.deviceFor(text);
    auto properties = apple_health_export::exportDeviceProperties(text);
    auto parsed =
        properties ? apple_health_export::exportDeviceWithProperties(*properties) : nullptr;
    ASSERT_EQ(cached == nullptr, parsed == nullptr) << text;
    if (parsed) {
      EXPECT_TRUE(cached->isEqual(*parsed)) << text;
    }
  }
}

}  // namespace
