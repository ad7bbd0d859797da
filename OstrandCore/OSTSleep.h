#pragma once

// OSTSleep: the record of one stretch of sleep analysis: time asleep or awake, in seconds; time in
// bed goes to extras.
//
// A plain record (see OSTRecord for properties, extras, setting by name and thread-safety); every
// property below can also be set by its name through setValue().

#include "OstrandCore/OSTRecord.h"

class OSTSleep : public OSTRecord {
 public:
  NSAny totalSleep() const { return numberValue("totalSleep"); }
  void setTotalSleep(NSAny value) { setNumberValue("totalSleep", std::move(value)); }
  NSAny awake() const { return numberValue("awake"); }
  void setAwake(NSAny value) { setNumberValue("awake", std::move(value)); }

  OSTRecordType recordType() const override { return OSTRecordTypeSleep; }
  std::string className() const override { return "OSTSleep"; }
  std::span<const OSTPropertyInfo> ownProperties() const override { return kProperties; }

 private:
  static constexpr OSTPropertyInfo kProperties[] = {
      {"totalSleep", OSTPropertyKind::Number},
      {"awake", OSTPropertyKind::Number},
  };
};
