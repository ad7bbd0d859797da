#pragma once

// HealthKit's error domain and codes (raw values as HealthKit has them), and the one helper the
// simulator uses to make its errors. Errors reach the app as NSError values in completion
// handlers; nothing here throws. Thread-safe constants.

#include <memory>
#include <string>

#include "Foundation/NSError.h"

// "com.apple.healthkit", as HealthKit's errors carry it.
extern const std::string HKErrorDomain;

enum HKErrorCode : long {
  HKUnknownError = 0,
  HKNoError = HKUnknownError,  // deprecated alias
  HKErrorHealthDataUnavailable = 1,
  HKErrorHealthDataRestricted = 2,
  HKErrorInvalidArgument = 3,
  HKErrorAuthorizationDenied = 4,
  HKErrorAuthorizationNotDetermined = 5,
  HKErrorDatabaseInaccessible = 6,
  HKErrorUserCanceled = 7,
  HKErrorAnotherWorkoutSessionStarted = 8,
  HKErrorUserExitedWorkoutSession = 9,
  HKErrorRequiredAuthorizationDenied = 10,
  HKErrorNoData = 11,
  HKErrorWorkoutActivityNotAllowed = 12,
  HKErrorDataSizeExceeded = 13,
  HKErrorBackgroundWorkoutSessionNotAllowed = 14,
  HKErrorNotPermissibleForGuestUserMode = 15,
};

namespace platform::healthkit {

// An error in HKErrorDomain with the code and `description` as its localized description.
std::shared_ptr<const NSError> makeHealthKitError(HKErrorCode code, const std::string& description);

}  // namespace platform::healthkit
