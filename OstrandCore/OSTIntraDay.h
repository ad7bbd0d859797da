#pragma once

// OSTIntraDay: a series of minute-by-minute values (steps) from one data source over a stretch
// of time. Made directly (or by newRecordWithType(OSTRecordTypeIntraday)); the intraday fetch
// fills one per source with deviceSource, start, end and timestamp, then adds the minutes one by
// one.
//
// A minute added twice: values are keyed by their start date, and adding a value whose start
// date is already present replaces that entry (value and end date). Each value is the total for
// its minute, so a repeated minute is a newer reading of the same total, never a second share of
// it to be summed.
//
// A plain record otherwise (see OSTRecord); not thread-safe while being filled.
//
//   auto steps = std::make_shared<OSTIntraDay>();
//   steps->setDeviceSource("com.apple.health.8A3F");
//   steps->addValue(42, minuteStart, minuteStart.dateByAddingTimeInterval(60));

#include <map>

#include "OstrandCore/OSTRecord.h"

class OSTIntraDay : public OSTRecord {
 public:
  struct Value {
    NSDate startDate;
    NSDate endDate;
    double value = 0;
    bool operator==(const Value&) const = default;
  };

  std::optional<std::string> deviceSource() const { return stringValue("deviceSource"); }
  void setDeviceSource(std::optional<std::string> value) {
    setStringValue("deviceSource", std::move(value));
  }
  std::optional<NSDate> start() const { return dateValue("start"); }
  void setStart(std::optional<NSDate> value) { setDateValue("start", value); }
  std::optional<NSDate> end() const { return dateValue("end"); }
  void setEnd(std::optional<NSDate> value) { setDateValue("end", value); }

  // Adds (or replaces, see above) the value of the interval [startDate, endDate]. Throws
  // std::invalid_argument when the end is before the start or a number is not finite.
  void addValue(double value, NSDate startDate, NSDate endDate);
  // The values in order of their start dates.
  const std::map<NSDate, Value>& values() const { return values_; }

  // Also takes newer's values, minute by minute as addValue() does: a minute both have takes
  // newer's value, the others are kept.
  void updateWith(const OSTRecord& newer) override;

  OSTRecordType recordType() const override { return OSTRecordTypeIntraday; }
  std::string className() const override { return "OSTIntraDay"; }
  std::span<const OSTPropertyInfo> ownProperties() const override { return kProperties; }
  bool isEqual(const NSObject& other) const override;

 private:
  static constexpr OSTPropertyInfo kProperties[] = {
      {"deviceSource", OSTPropertyKind::String},
      {"start", OSTPropertyKind::Date},
      {"end", OSTPropertyKind::Date},
  };

  std::map<NSDate, Value> values_;
};
