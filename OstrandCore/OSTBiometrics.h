#pragma once

// OSTBiometrics: the record of vital signs: blood pressure, oxygen saturation, body temperature,
// resting heart rate and a day's heart-rate minimum, maximum and average (beats per minute); lung
// and reproductive-health observations go to extras.
//
// A plain record (see OSTRecord for properties, extras, setting by name and thread-safety); every
// property below can also be set by its name through setValue().

#include "OstrandCore/OSTRecord.h"

class OSTBiometrics : public OSTRecord {
 public:
  NSAny systolic() const { return numberValue("systolic"); }
  void setSystolic(NSAny value) { setNumberValue("systolic", std::move(value)); }
  NSAny diastolic() const { return numberValue("diastolic"); }
  void setDiastolic(NSAny value) { setNumberValue("diastolic", std::move(value)); }
  NSAny spo2() const { return numberValue("spo2"); }
  void setSpo2(NSAny value) { setNumberValue("spo2", std::move(value)); }
  NSAny temperature() const { return numberValue("temperature"); }
  void setTemperature(NSAny value) { setNumberValue("temperature", std::move(value)); }
  NSAny restingHeartrate() const { return numberValue("restingHeartrate"); }
  void setRestingHeartrate(NSAny value) { setNumberValue("restingHeartrate", std::move(value)); }
  NSAny minHeartRate() const { return numberValue("minHeartRate"); }
  void setMinHeartRate(NSAny value) { setNumberValue("minHeartRate", std::move(value)); }
  NSAny maxHeartRate() const { return numberValue("maxHeartRate"); }
  void setMaxHeartRate(NSAny value) { setNumberValue("maxHeartRate", std::move(value)); }
  NSAny averageHeartRate() const { return numberValue("averageHeartRate"); }
  void setAverageHeartRate(NSAny value) { setNumberValue("averageHeartRate", std::move(value)); }

  OSTRecordType recordType() const override { return OSTRecordTypeBiometrics; }
  std::string className() const override { return "OSTBiometrics"; }
  std::span<const OSTPropertyInfo> ownProperties() const override { return kProperties; }

 private:
  static constexpr OSTPropertyInfo kProperties[] = {
      {"systolic", OSTPropertyKind::Number},
      {"diastolic", OSTPropertyKind::Number},
      {"spo2", OSTPropertyKind::Number},
      {"temperature", OSTPropertyKind::Number},
      {"restingHeartrate", OSTPropertyKind::Number},
      {"minHeartRate", OSTPropertyKind::Number},
      {"maxHeartRate", OSTPropertyKind::Number},
      {"averageHeartRate", OSTPropertyKind::Number},
  };
};
