// The routine and intraday fetches in the form the historical fetch calls them. They fetch
// nothing and call no completion yet.

#include "OstrandHealthKit/OSTHealthKitManager.h"

void OSTHealthKitManager::fetchRoutineForSampleTypes(const HKSampleTypeSet&, NSDate, NSDate, bool,
                                                     OSTFetchCompletion) {}

void OSTHealthKitManager::fetchIntradayForStepsFromDate(NSDate, NSDate, bool, OSTFetchCompletion) {}
