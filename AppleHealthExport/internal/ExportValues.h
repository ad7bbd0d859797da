#pragma once

// Reading the values an export writes in its attributes: dates with their own UTC offset
// ("2019-12-29 10:12:31 +0200"), decimal numbers ("72", "0.00377794", "23,5" from a comma
// locale), device descriptions ("<<HKDevice: 0x...>, name:Apple Watch, hardware:Watch5,3, ...>")
// and quantities written as text ("56 degF", "9.1945 kcal/hr·kg"). Each returns nullopt (or
// nullptr) for text it cannot read. Pure functions; safe from any thread.

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/NSDate.h"
#include "HealthKit/HKDevice.h"

namespace apple_health_export {

// "yyyy-MM-dd HH:mm:ss ±HHMM", the offset applied exactly; the machine's zone plays no part.
std::optional<NSDate> parseExportDate(std::string_view text);
// The offset such a date was written with, in seconds east of UTC; nullopt when it is not one.
std::optional<int> exportDateOffset(std::string_view text);

// A finite decimal number, with '.' or a single ',' as the decimal separator.
std::optional<double> parseExportNumber(std::string_view text);

// Seconds since midnight of a locale-formatted time of day: "23:47:49,20", "4:17:18.57 pm".
std::optional<double> parseTimeOfDay(std::string_view text);

// A device an export describes with HKDevice's description, read in two steps: the properties
// the device is made from (what follows the object's address: "name:Apple Watch, manufacturer:
// Apple Inc., ...", empty when none is set), nullopt when the text is not a device description;
// then the device they describe (nullptr when they cannot be read). ExportDevices keeps them.
std::optional<std::string_view> exportDeviceProperties(std::string_view text);
HKDevice::Pointer exportDeviceWithProperties(std::string_view properties);

// "<number> <unit string>" split in two; nullopt without a space or a number.
struct NumberAndUnit {
  double value = 0;
  std::string unit;
};
std::optional<NumberAndUnit> splitNumberAndUnit(std::string_view text);

}  // namespace apple_health_export
