#include "OstrandCore/OSTError.h"

std::shared_ptr<const NSError> OSTCoreError(OSTCoreErrorCode code, const std::string& description) {
  return NSError::errorWithDomain(
      kOSTCoreErrorDomain, code,
      NSDictionary::dictionaryWithDictionary({{NSLocalizedDescriptionKey, description}}));
}
