#pragma once

// OSTSleep(HealthKit): one sleep-analysis sample becomes one sleep record carrying exactly one
// duration in seconds: time in bed (extras "in_bed"), asleep (totalSleep) or awake (awake).
// Sleep records have no key-path table: quantity samples never reach them.
//
// Reached through setCategorySample (OSTRecord+HealthKit.h). Thread-safe as that header
// describes.

#include "HealthKit/HKCategorySample.h"
#include "OstrandCore/OSTSleep.h"

// For a sleep-analysis sample, its duration (end minus start, seconds) by value: 0 in bed ->
// extras "in_bed", 1 asleep -> totalSleep, 2 awake -> awake. Any other value (3 to 5, the asleep
// stages newer watches write, included) and any other category type write nothing, as does a
// duration the record cannot hold (OSTRecord+HealthKit.h).
void setSleepCategorySample(OSTSleep& record, const HKCategorySample& sample);
