#include "HealthKit/HKSampleQuery.h"

#include <algorithm>

#include "HealthKit/HKError.h"
#include "HealthKit/internal/PredicateDateBounds.h"
#include "HealthKit/internal/QueryAnswerTimer.h"
#include "HealthKit/internal/QueryExecution.h"

HKSampleQuery::HKSampleQuery(std::shared_ptr<const HKSampleType> sampleType,
                             std::shared_ptr<const NSPredicate> predicate, unsigned long limit,
                             std::vector<std::shared_ptr<const NSSortDescriptor>> sortDescriptors,
                             ResultsHandler resultsHandler)
    : HKQuery(std::move(sampleType), std::move(predicate)),
      limit_(limit),
      sortDescriptors_(std::move(sortDescriptors)),
      resultsHandler_(std::move(resultsHandler)) {}

void HKSampleQuery::run(const platform::healthkit::QueryExecution& execution) {
  auto self = std::static_pointer_cast<HKSampleQuery>(shared_from_this());
  std::vector<std::shared_ptr<const HKSample>> samples;
  std::shared_ptr<const NSError> error = execution.state().readError();  // locked device
  if (!error) {
    platform::healthkit::QueryAnswerTimer timer(execution.state());
    try {
      for (const auto& stored : execution.state().database().objects(
               objectType()->identifier(), platform::healthkit::dateBoundsOf(predicate()),
               execution.state().readFilter(execution.reader, predicate()))) {
        samples.push_back(std::dynamic_pointer_cast<const HKSample>(stored.object));
      }
      if (!sortDescriptors_.empty()) {
        std::stable_sort(samples.begin(), samples.end(), [this](const auto& a, const auto& b) {
          for (const auto& descriptor : sortDescriptors_) {
            const NSComparisonResult order = descriptor->compareObject(*a, *b);
            if (order != NSOrderedSame) return order == NSOrderedAscending;
          }
          return false;
        });
      }
      if (limit_ != HKObjectQueryNoLimit && samples.size() > limit_) samples.resize(limit_);
    } catch (const std::exception& failure) {
      samples.clear();
      error = platform::healthkit::makeHealthKitError(HKErrorInvalidArgument, failure.what());
    }
  }
  finish(execution);
  execution.state().recordDelivery(execution.reader, samples);
  if (resultsHandler_) resultsHandler_(self, std::move(samples), error);
}
