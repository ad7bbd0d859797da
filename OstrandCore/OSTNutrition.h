#pragma once

// OSTNutrition: the record of what was eaten or drunk: energy (kcal), carbohydrates, fat, fiber,
// protein (g), sodium (mg) and water (mL); other nutrients go to extras.
//
// A plain record (see OSTRecord for properties, extras, setting by name and thread-safety); every
// property below can also be set by its name through setValue().

#include "OstrandCore/OSTRecord.h"

class OSTNutrition : public OSTRecord {
 public:
  NSAny calories() const { return numberValue("calories"); }
  void setCalories(NSAny value) { setNumberValue("calories", std::move(value)); }
  NSAny carbohydrates() const { return numberValue("carbohydrates"); }
  void setCarbohydrates(NSAny value) { setNumberValue("carbohydrates", std::move(value)); }
  NSAny fat() const { return numberValue("fat"); }
  void setFat(NSAny value) { setNumberValue("fat", std::move(value)); }
  NSAny fiber() const { return numberValue("fiber"); }
  void setFiber(NSAny value) { setNumberValue("fiber", std::move(value)); }
  NSAny protein() const { return numberValue("protein"); }
  void setProtein(NSAny value) { setNumberValue("protein", std::move(value)); }
  NSAny sodium() const { return numberValue("sodium"); }
  void setSodium(NSAny value) { setNumberValue("sodium", std::move(value)); }
  NSAny water() const { return numberValue("water"); }
  void setWater(NSAny value) { setNumberValue("water", std::move(value)); }

  OSTRecordType recordType() const override { return OSTRecordTypeNutrition; }
  std::string className() const override { return "OSTNutrition"; }
  std::span<const OSTPropertyInfo> ownProperties() const override { return kProperties; }

 private:
  static constexpr OSTPropertyInfo kProperties[] = {
      {"calories", OSTPropertyKind::Number}, {"carbohydrates", OSTPropertyKind::Number},
      {"fat", OSTPropertyKind::Number},      {"fiber", OSTPropertyKind::Number},
      {"protein", OSTPropertyKind::Number},  {"sodium", OSTPropertyKind::Number},
      {"water", OSTPropertyKind::Number},
  };
};
