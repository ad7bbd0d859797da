#include "HealthKit/HKError.h"

#include "Foundation/NSDictionary.h"

const std::string HKErrorDomain = "com.apple.healthkit";

namespace platform::healthkit {

std::shared_ptr<const NSError> makeHealthKitError(HKErrorCode code,
                                                  const std::string& description) {
  return NSError::errorWithDomain(
      HKErrorDomain, code,
      NSDictionary::dictionaryWithDictionary({{NSLocalizedDescriptionKey, description}}));
}

}  // namespace platform::healthkit
