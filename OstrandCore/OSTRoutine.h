#pragma once

// OSTRoutine: the record of one day's activity totals for one person: steps, floors, distance,
// active calories and exercise minutes; other daily totals go to extras.
//
// A plain record (see OSTRecord for properties, extras, setting by name and thread-safety); every
// property below can also be set by its name through setValue().

#include "OstrandCore/OSTRecord.h"

class OSTRoutine : public OSTRecord {
 public:
  NSAny steps() const { return numberValue("steps"); }
  void setSteps(NSAny value) { setNumberValue("steps", std::move(value)); }
  NSAny floors() const { return numberValue("floors"); }
  void setFloors(NSAny value) { setNumberValue("floors", std::move(value)); }
  NSAny distance() const { return numberValue("distance"); }
  void setDistance(NSAny value) { setNumberValue("distance", std::move(value)); }
  NSAny caloriesBurned() const { return numberValue("caloriesBurned"); }
  void setCaloriesBurned(NSAny value) { setNumberValue("caloriesBurned", std::move(value)); }
  NSAny activeDuration() const { return numberValue("activeDuration"); }
  void setActiveDuration(NSAny value) { setNumberValue("activeDuration", std::move(value)); }

  OSTRecordType recordType() const override { return OSTRecordTypeRoutine; }
  std::string className() const override { return "OSTRoutine"; }
  std::span<const OSTPropertyInfo> ownProperties() const override { return kProperties; }

 private:
  static constexpr OSTPropertyInfo kProperties[] = {
      {"steps", OSTPropertyKind::Number},          {"floors", OSTPropertyKind::Number},
      {"distance", OSTPropertyKind::Number},       {"caloriesBurned", OSTPropertyKind::Number},
      {"activeDuration", OSTPropertyKind::Number},
  };
};
