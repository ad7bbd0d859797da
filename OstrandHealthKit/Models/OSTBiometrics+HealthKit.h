#pragma once

// OSTBiometrics(HealthKit): vital signs. Blood pressure, oxygen saturation (percentage 0...100),
// body temperature (degC, whatever unit the thermometer wrote), lung measurements, resting and
// walking heart rate; reproductive-health category samples as extras; and the daily heart-rate
// summary: one record per user, source and day with that day's minimum, maximum and average
// heart rate and its resting and walking heart rate.
//
// Heart-rate builder and key are named heartRate... because the routine records have a day key
// and builder of their own (OSTRoutine+HealthKit.h). Thread-safe as OSTRecord+HealthKit.h
// describes; the builder keeps nothing between calls.
//
//   auto records = heartRateRecordsFromStatistics(perDayStatistics, restingAndWalkingSamples);

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Foundation/NSDate.h"
#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/HKSource.h"
#include "HealthKit/HKStatistics.h"
#include "OstrandCore/OSTBiometrics.h"
#include "OstrandHealthKit/Models/OSTRecord+HealthKit.h"

// One heart-rate statistics query's result: each day's statistics (per source) under the start
// of that day.
using OSTDayHeartRateStatistics = std::map<NSDate, std::shared_ptr<const HKStatistics>>;

// Fourteen entries (systolic, diastolic, spo2, temperature and extras of lung, skin, fall and UV
// measurements); from iOS 11.0 also RestingHeartRate "restingHeartrate" and
// WalkingHeartRateAverage "extras.apple_walking_heartrate_average". Plain heart rate has no
// entry: it reaches records only through the builder and addHeartRateSamples.
std::shared_ptr<const OSTHealthKitKeyPaths> biometricsHealthKitKeyPaths();

// Category value names. Unknown values give "" for mucus and flow but "Unknown" for ovulation.
// Ovulation value 2 is "Luteinizing Hormone Surge" from iOS 13.0 on and "Positive" before.
std::string cervicalMucusQualityString(long value);
std::string ovulationTestResultString(long value);
std::string menstrualFlowString(long value);

// Reproductive health, dates as the core library's ISO 8601 strings:
// - sexual activity: "sexual_activity_date", and "sexual_activity_protection_used" when the
//   metadata has it;
// - cervical mucus: "cervical_mucus_quality"; ovulation test: "ovulation_test_result";
// - intermenstrual bleeding: "intermenstrual_bleeding" = its date;
// - menstrual flow: "menstrual_flow", "menstrual_flow_start", "menstrual_flow_end", and
//   "menstrual_cycle_start" when the metadata has it.
// Other category types write nothing.
void setBiometricsCategorySample(OSTBiometrics& record, const HKCategorySample& sample);

// One record per user, source (bundle identifier) and day, keyed and identified by
// heartRateKeyFromDate. First the samples (resting and walking heart rate) in order, each filling
// its record through setHealthKitSource and setHealthKitSample (a later sample of one type
// overwrites an earlier one; the timestamp is the last sample's start); then, per day and source
// of the statistics, min/max/average heart rate in count/min, unrounded, with the timestamp set
// to the day's start. A source lacking any of the three is skipped for that day; a value the
// record cannot hold is left out, and a source none of whose three values it can hold is skipped
// for that day (OSTRecord+HealthKit.h). Entries that are not quantity samples, and null
// statistics, are skipped. Fresh records on every call, in key order.
std::vector<std::shared_ptr<OSTBiometrics>> heartRateRecordsFromStatistics(
    const std::vector<OSTDayHeartRateStatistics>& statistics,
    const std::vector<std::shared_ptr<const HKSample>>& samples);

// "heart-rate-<user>-<bundle identifier>-<year>-<month>-<day>", the date's day in
// ost_gregorianCalendar(), numbers without zero padding ("heart-rate-user-1-com.apple.health.
// 1A2B-2024-3-9"). <user> is OSTSession's user identifier, "(null)" when no session runs.
std::string heartRateKeyFromDate(NSDate date, const HKSource& source);
