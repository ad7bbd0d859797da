#include "OstrandCore/OSTFormatter.h"

std::shared_ptr<const OSTFormatter> OSTFormatter::sharedFormatter() {
  // Never destroyed, so formatting stays valid during static destruction.
  static const auto* const formatter =
      new std::shared_ptr<const OSTFormatter>(std::make_shared<const OSTFormatter>());
  return *formatter;
}
