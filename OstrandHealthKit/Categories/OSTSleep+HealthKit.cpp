#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandHealthKit/Categories/OSTSleep+HealthKit.h"
#include "OstrandHealthKit/Models/OSTRecord+HealthKit.h"

void setSleepCategorySample(OSTSleep& record, const HKCategorySample& sample) {
  if (!sample.sampleType() ||
      sample.sampleType()->identifier() != HKCategoryTypeIdentifierSleepAnalysis) {
    return;
  }
  const double duration = sample.endDate().timeIntervalSinceDate(sample.startDate());
  // Dates far enough apart overflow the difference; the record cannot hold that.
  if (!fitsRecordNumber(duration)) return;
  switch (sample.value()) {
    case HKCategoryValueSleepAnalysisInBed:
      record.setExtraValue(duration, "in_bed");
      break;
    case HKCategoryValueSleepAnalysisAsleepUnspecified:
      record.setTotalSleep(duration);
      break;
    case HKCategoryValueSleepAnalysisAwake:
      record.setAwake(duration);
      break;
    default:
      // Asleep core, deep and REM (3, 4, 5), which current watches write instead of 1, convert to
      // nothing, like every other value: the record keeps no duration at all. Known and kept so;
      // a night recorded by a newer watch therefore reaches the core library without sleep time.
      break;
  }
}
