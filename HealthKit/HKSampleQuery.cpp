#include "HealthKit/HKSampleQuery.h"

#include <algorithm>

#include "HealthKit/HKError.h"
#include "HealthKit/internal/PredicateDateBounds.h"
#include "HealthKit/internal/QueryAnswerTimer.h"
#include "HealthKit/internal/QueryExecution.h"

namespace {

// Sorts before the objects are shown to the app, so that only those within the limit are shown.
void sortAndLimit(std::vector<platform::healthkit::StoredObject>& found,
                  const std::vector<std::shared_ptr<const NSSortDescriptor>>& sortDescriptors,
                  unsigned long limit) {
  if (!sortDescriptors.empty()) {
    std::stable_sort(found.begin(), found.end(), [&](const auto& a, const auto& b) {
      for (const auto& descriptor : sortDescriptors) {
        const NSComparisonResult order = descriptor->compareObject(*a.object, *b.object);
        if (order != NSOrderedSame) return order == NSOrderedAscending;
      }
      return false;
    });
  }
  if (limit != HKObjectQueryNoLimit && found.size() > limit) found.resize(limit);
}

}  // namespace

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
      const auto access = execution.state().readAccess(execution.reader);
      auto found = execution.state().database().objects(
          objectType()->identifier(), platform::healthkit::dateBoundsOf(predicate()),
          platform::healthkit::DeviceState::readFilter(access, predicate()));
      sortAndLimit(found, sortDescriptors_, limit_);
      samples.reserve(found.size());
      for (const auto& stored : found) {
        samples.push_back(
            std::dynamic_pointer_cast<const HKSample>(access->shown(stored.object, *stored.owner)));
      }
    } catch (const std::exception& failure) {
      samples.clear();
      error = platform::healthkit::makeHealthKitError(HKErrorInvalidArgument, failure.what());
    }
  }
  finish(execution);
  execution.state().recordDelivery(execution.reader, samples);
  if (resultsHandler_) resultsHandler_(self, std::move(samples), error);
}
