#pragma once

// OSTRoutine(HealthKit): a person's daily activity. A routine record is one calendar day's total
// for one user, summed over all sources (steps, floors, distance, active and resting energy,
// exercise minutes, wheelchair pushes and distance, inhaler use, stand hours, mindful minutes),
// and is therefore marked with the aggregate source, never as validated.
//
// The day key and the builder are named routine... because the heart-rate records have a day key
// and builder of their own (OSTBiometrics+HealthKit.h). Thread-safe as OSTRecord+HealthKit.h
// describes; the builder keeps nothing between calls.
//
//   auto records = routineRecordsFromStatistics(statisticsList, categoryList);

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Foundation/NSDate.h"
#include "HealthKit/HKSample.h"
#include "OstrandCore/OSTRecord.h"
#include "OstrandCore/OSTRoutine.h"
#include "OstrandHealthKit/Categories/HKStatistics+Meta.h"
#include "OstrandHealthKit/Models/OSTRecord+HealthKit.h"

// One day's category samples (stand hours, mindful sessions) under the start of that day.
using OSTDayCategorySamples = std::map<NSDate, std::vector<std::shared_ptr<const HKSample>>>;

// StepCount "steps", FlightsClimbed "floors", DistanceWalkingRunning "distance",
// ActiveEnergyBurned "caloriesBurned", AppleExerciseTime "activeDuration" (seconds), and extras
// for resting energy, inhaler usage, wheelchair pushes and wheelchair distance.
std::shared_ptr<const OSTHealthKitKeyPaths> routineHealthKitKeyPaths();

// One record per calendar day (routineKeyFromDate) met in either input:
// - category samples: "apple_stand_hours_stood" / "apple_stand_hours_idle" (counts of stand-hour
//   samples of value 0 / 1, written together), "apple_mindful_session_minutes" (the day's
//   mindful seconds / 60, truncated); a day with none of these, or all zero, makes no record;
// - statistics: a sum tagged OSTStatisticsSourceUserEntered goes to "user_entered_steps"
//   (unrounded); any other sum goes through setQuantity and the key-path table (steps rounded to
//   whole steps); a day without a sum makes no record;
// - every record: "device_generated_steps" = whole steps minus whole user-entered steps (each 0
//   when missing; not clamped, so it is negative with hand-entered steps but no total);
// - a value the record cannot hold (OSTRecord+HealthKit.h) is left out: a sum as if the day had
//   none (a day left with nothing makes no record), the mindful minutes, the steps difference.
// Records carry the aggregate source, the key as activity identifier and the day as timestamp.
// Entries that are not category samples are ignored. Fresh records on every call, in key order.
std::vector<std::shared_ptr<OSTRoutine>> routineRecordsFromStatistics(
    const std::vector<OSTDayStatistics>& statistics,
    const std::vector<OSTDayCategorySamples>& categorySamples);

// "routine-<user>-com.Apple.Health.AggregateRecord-<year>-<month>-<day>" (see dayRecordKey in
// OSTRecord+HealthKit.h): one routine record per user and calendar day.
std::string routineKeyFromDate(NSDate date);

// Marks the record as a total over sources: originalSource "Apple Health Aggregate",
// sourcePeripheral "com.Apple.Health.AggregateRecord", intermediarySource "Apple Health",
// validated NO.
void setAggregateSource(OSTRecord& record);
