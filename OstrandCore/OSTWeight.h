#pragma once

// OSTWeight: the record of body measurements: weight (kg), height (cm), body-fat percentage
// (0...100) and body-mass index.
//
// A plain record (see OSTRecord for properties, extras, setting by name and thread-safety); every
// property below can also be set by its name through setValue().

#include "OstrandCore/OSTRecord.h"

class OSTWeight : public OSTRecord {
 public:
  NSAny weight() const { return numberValue("weight"); }
  void setWeight(NSAny value) { setNumberValue("weight", std::move(value)); }
  NSAny height() const { return numberValue("height"); }
  void setHeight(NSAny value) { setNumberValue("height", std::move(value)); }
  NSAny fatPercent() const { return numberValue("fatPercent"); }
  void setFatPercent(NSAny value) { setNumberValue("fatPercent", std::move(value)); }
  NSAny bmi() const { return numberValue("bmi"); }
  void setBmi(NSAny value) { setNumberValue("bmi", std::move(value)); }

  OSTRecordType recordType() const override { return OSTRecordTypeWeight; }
  std::string className() const override { return "OSTWeight"; }
  std::span<const OSTPropertyInfo> ownProperties() const override { return kProperties; }

 private:
  static constexpr OSTPropertyInfo kProperties[] = {
      {"weight", OSTPropertyKind::Number},
      {"height", OSTPropertyKind::Number},
      {"fatPercent", OSTPropertyKind::Number},
      {"bmi", OSTPropertyKind::Number},
  };
};
