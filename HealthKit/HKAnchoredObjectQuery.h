#pragma once

// HKAnchoredObjectQuery: the samples saved and the objects deleted since an anchor.
//
// The results handler runs once with what changed after `anchor` (nullptr: everything stored,
// and the deletions), in the order it happened, at most `limit` samples and deletions together
// (HKObjectQueryNoLimit: all), and the anchor to pass next time: the position of the last one
// returned when the limit cut the answer short, otherwise the present. Samples the app may not
// read are left out, yet the new anchor moves past them. The predicate filters samples and
// deletions alike (a deletion by the deleted sample as it was).
//
// Without an update handler the query ends after the results handler. With one (set before
// execution, and only without a limit) it keeps running and reports every later change the
// same way until stopped. Handlers run one at a time on the query's worker queue. Setting the
// update handler after execution, or on a query with a limit, throws std::invalid_argument
// (HealthKit raises). Thread-safe.
//
//   auto query = std::make_shared<HKAnchoredObjectQuery>(steps, nullptr, savedAnchor,
//       HKObjectQueryNoLimit, [](auto query, auto added, auto deleted, auto anchor, auto error) {
//         ...  // a worker thread: hop to the main queue before touching app state
//       });
//   store->executeQuery(query);

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "HealthKit/HKDeletedObject.h"
#include "HealthKit/HKQuery.h"
#include "HealthKit/HKQueryAnchor.h"
#include "HealthKit/HKSample.h"

class HKAnchoredObjectQuery : public HKQuery {
 public:
  // (query, added samples, deleted objects, new anchor, error or nullptr).
  using ResultsHandler = std::function<void(
      std::shared_ptr<HKAnchoredObjectQuery> query,
      std::vector<std::shared_ptr<const HKSample>> sampleObjects,
      std::vector<std::shared_ptr<const HKDeletedObject>> deletedObjects,
      std::shared_ptr<const HKQueryAnchor> newAnchor, std::shared_ptr<const NSError> error)>;

  HKAnchoredObjectQuery(std::shared_ptr<const HKSampleType> type,
                        std::shared_ptr<const NSPredicate> predicate,
                        std::shared_ptr<const HKQueryAnchor> anchor, unsigned long limit,
                        ResultsHandler resultsHandler);

  void setUpdateHandler(ResultsHandler updateHandler);
  ResultsHandler updateHandler() const;

  std::string className() const override { return "HKAnchoredObjectQuery"; }

 protected:
  void run(const platform::healthkit::QueryExecution& execution) override;
  void databaseDidChange(const platform::healthkit::QueryExecution& execution,
                         const platform::healthkit::DatabaseChange& change) override;

 private:
  // Reports what changed after position_ to `handler` and moves position_ on. Quiet when
  // nothing visible changed, unless `always`.
  void report(const platform::healthkit::QueryExecution& execution, const ResultsHandler& handler,
              unsigned long limit, bool always);

  const std::shared_ptr<const HKQueryAnchor> anchor_;
  const unsigned long limit_;
  const ResultsHandler resultsHandler_;
  mutable std::mutex updateHandlerMutex_;  // guards updateHandler_
  ResultsHandler updateHandler_;
  // Where the last report ended; touched only on the query's serial queue.
  std::uint64_t position_ = 0;
  bool started_ = false;
};
