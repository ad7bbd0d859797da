#include "HealthKit/HKTypeIdentifiers.h"

#include "HealthKit/internal/HKTypeCatalog.h"

#define HK_DEFINE_QUANTITY(name, style, unit) \
  const std::string HKQuantityTypeIdentifier##name = "HKQuantityTypeIdentifier" #name;
#define HK_DEFINE_CATEGORY(name, lowest, highest) \
  const std::string HKCategoryTypeIdentifier##name = "HKCategoryTypeIdentifier" #name;
#define HK_DEFINE_CORRELATION(name) \
  const std::string HKCorrelationTypeIdentifier##name = "HKCorrelationTypeIdentifier" #name;

HK_QUANTITY_TYPES(HK_DEFINE_QUANTITY)
HK_CATEGORY_TYPES(HK_DEFINE_CATEGORY)
HK_CORRELATION_TYPES(HK_DEFINE_CORRELATION)
const std::string HKWorkoutTypeIdentifier = "HKWorkoutTypeIdentifier";
