#pragma once

// How many records the objects of each HealthKit type made. A record made from one object (a
// sample, a correlation or a workout) carries that object's UUID as its activity identifier;
// HealthKit tells which of the given types holds it. Day records (routine, intraday, heart-rate
// summaries) are made from many objects and count for no type.
//
// Reads every object of the given types once, as another app would; main thread, between the
// replay's steps.

#include <map>
#include <string>

#include "HealthKit/Simulator/SimulatedHealthDevice.h"
#include "OstrandHealthKit/OSTHealthKitManager.h"
#include "tools/OstrandTools/OutboxReport.h"

namespace ostrand_tools {

std::map<std::string, std::size_t> recordsByObjectType(
    const std::shared_ptr<platform::SimulatedHealthDevice>& device, const Records& records,
    const OSTSampleTypeArray& types);

}  // namespace ostrand_tools
