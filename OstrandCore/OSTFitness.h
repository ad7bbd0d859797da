#pragma once

// OSTFitness: the record of one workout: its activity name, distance (m), energy (kcal), duration
// (s) and start time.
//
// A plain record (see OSTRecord for properties, extras, setting by name and thread-safety); every
// property below can also be set by its name through setValue().

#include "OstrandCore/OSTRecord.h"

class OSTFitness : public OSTRecord {
 public:
  std::optional<std::string> type() const { return stringValue("type"); }
  void setType(std::optional<std::string> value) { setStringValue("type", std::move(value)); }
  NSAny distance() const { return numberValue("distance"); }
  void setDistance(NSAny value) { setNumberValue("distance", std::move(value)); }
  NSAny calories() const { return numberValue("calories"); }
  void setCalories(NSAny value) { setNumberValue("calories", std::move(value)); }
  NSAny duration() const { return numberValue("duration"); }
  void setDuration(NSAny value) { setNumberValue("duration", std::move(value)); }
  std::optional<NSDate> startTime() const { return dateValue("startTime"); }
  void setStartTime(std::optional<NSDate> value) { setDateValue("startTime", value); }

  OSTRecordType recordType() const override { return OSTRecordTypeFitness; }
  std::string className() const override { return "OSTFitness"; }
  std::span<const OSTPropertyInfo> ownProperties() const override { return kProperties; }

 private:
  static constexpr OSTPropertyInfo kProperties[] = {
      {"type", OSTPropertyKind::String},     {"distance", OSTPropertyKind::Number},
      {"calories", OSTPropertyKind::Number}, {"duration", OSTPropertyKind::Number},
      {"startTime", OSTPropertyKind::Date},
  };
};
