#pragma once

// HKSampleQuery: a one-shot query for the samples of a type that match a predicate and that the
// app may read. Results come sorted by the sort descriptors (keys such as
// HKSampleSortIdentifierStartDate / EndDate; none: the order they were saved in), cut to `limit`
// (HKObjectQueryNoLimit: all), in one call of the results handler on a worker thread.
// Thread-safe.
//
//   auto query = std::make_shared<HKSampleQuery>(heartRate, window, HKObjectQueryNoLimit,
//       std::vector<std::shared_ptr<const NSSortDescriptor>>{},
//       [](auto query, auto samples, auto error) { ... });

#include <functional>
#include <memory>
#include <vector>

#include "Foundation/NSSortDescriptor.h"
#include "HealthKit/HKQuery.h"
#include "HealthKit/HKQueryAnchor.h"
#include "HealthKit/HKSample.h"

class HKSampleQuery : public HKQuery {
 public:
  // (query, samples or empty, error or nullptr); runs once on a worker thread.
  using ResultsHandler = std::function<void(std::shared_ptr<HKSampleQuery> query,
                                            std::vector<std::shared_ptr<const HKSample>> results,
                                            std::shared_ptr<const NSError> error)>;

  HKSampleQuery(std::shared_ptr<const HKSampleType> sampleType,
                std::shared_ptr<const NSPredicate> predicate, unsigned long limit,
                std::vector<std::shared_ptr<const NSSortDescriptor>> sortDescriptors,
                ResultsHandler resultsHandler);

  unsigned long limit() const { return limit_; }
  const std::vector<std::shared_ptr<const NSSortDescriptor>>& sortDescriptors() const {
    return sortDescriptors_;
  }

  std::string className() const override { return "HKSampleQuery"; }

 protected:
  void run(const platform::healthkit::QueryExecution& execution) override;

 private:
  const unsigned long limit_;
  const std::vector<std::shared_ptr<const NSSortDescriptor>> sortDescriptors_;
  const ResultsHandler resultsHandler_;
};
