#pragma once

// OSTDiabetes: the record of a blood-glucose reading (mg/dL) or an insulin delivery (international
// units); the insulin type goes to extras.
//
// A plain record (see OSTRecord for properties, extras, setting by name and thread-safety); every
// property below can also be set by its name through setValue().

#include "OstrandCore/OSTRecord.h"

class OSTDiabetes : public OSTRecord {
 public:
  NSAny bloodGlucose() const { return numberValue("bloodGlucose"); }
  void setBloodGlucose(NSAny value) { setNumberValue("bloodGlucose", std::move(value)); }
  NSAny insulin() const { return numberValue("insulin"); }
  void setInsulin(NSAny value) { setNumberValue("insulin", std::move(value)); }

  OSTRecordType recordType() const override { return OSTRecordTypeDiabetes; }
  std::string className() const override { return "OSTDiabetes"; }
  std::span<const OSTPropertyInfo> ownProperties() const override { return kProperties; }

 private:
  static constexpr OSTPropertyInfo kProperties[] = {
      {"bloodGlucose", OSTPropertyKind::Number},
      {"insulin", OSTPropertyKind::Number},
  };
};
