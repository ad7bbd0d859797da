#include "HealthKit/HKAnchoredObjectQuery.h"

#include <stdexcept>

#include "HealthKit/HKError.h"
#include "HealthKit/internal/HKQueryAnchorAccess.h"
#include "HealthKit/internal/PredicateDateBounds.h"
#include "HealthKit/internal/QueryAnswerTimer.h"
#include "HealthKit/internal/QueryExecution.h"

HKAnchoredObjectQuery::HKAnchoredObjectQuery(std::shared_ptr<const HKSampleType> type,
                                             std::shared_ptr<const NSPredicate> predicate,
                                             std::shared_ptr<const HKQueryAnchor> anchor,
                                             unsigned long limit, ResultsHandler resultsHandler)
    : HKQuery(std::move(type), std::move(predicate)),
      anchor_(std::move(anchor)),
      limit_(limit),
      resultsHandler_(std::move(resultsHandler)) {}

void HKAnchoredObjectQuery::setUpdateHandler(ResultsHandler updateHandler) {
  if (hasExecuted()) {
    throw std::invalid_argument(
        "HKAnchoredObjectQuery: the update handler may not be changed once the query has been "
        "executed");
  }
  if (limit_ != HKObjectQueryNoLimit) {
    throw std::invalid_argument(
        "HKAnchoredObjectQuery: an update handler may only be set on a query without a limit");
  }
  std::lock_guard<std::mutex> lock(updateHandlerMutex_);
  updateHandler_ = std::move(updateHandler);
}

HKAnchoredObjectQuery::ResultsHandler HKAnchoredObjectQuery::updateHandler() const {
  std::lock_guard<std::mutex> lock(updateHandlerMutex_);
  return updateHandler_;
}

void HKAnchoredObjectQuery::run(const platform::healthkit::QueryExecution& execution) {
  if (auto error = execution.state().readError()) {
    // The device is locked: the query ends with the error, update handler or not.
    finish(execution);
    if (resultsHandler_) {
      resultsHandler_(std::static_pointer_cast<HKAnchoredObjectQuery>(shared_from_this()), {}, {},
                      nullptr, error);
    }
    return;
  }
  position_ = anchor_ ? HKQueryAnchorAccess::value(*anchor_) : 0;
  started_ = true;
  report(execution, resultsHandler_, limit_, true);
  if (!updateHandler()) finish(execution);
}

void HKAnchoredObjectQuery::databaseDidChange(const platform::healthkit::QueryExecution& execution,
                                              const platform::healthkit::DatabaseChange& change) {
  // A change queued before the first run is already part of the first results.
  if (!started_) return;
  const std::string& type = objectType()->identifier();
  bool ofThisType = false;
  for (const auto& added : change.added) ofThisType = ofThisType || *added.typeIdentifier == type;
  for (const auto& deleted : change.deleted) {
    ofThisType = ofThisType || *deleted.typeIdentifier == type;
  }
  if (!ofThisType) return;
  if (ResultsHandler handler = updateHandler()) {
    report(execution, handler, HKObjectQueryNoLimit, false);
  }
}

void HKAnchoredObjectQuery::report(const platform::healthkit::QueryExecution& execution,
                                   const ResultsHandler& handler, unsigned long limit,
                                   bool always) {
  auto self = std::static_pointer_cast<HKAnchoredObjectQuery>(shared_from_this());
  if (auto error = execution.state().readError()) {
    // The device is locked; the position stays, so what is missed now comes with a later update.
    if (handler) handler(self, {}, {}, nullptr, error);
    return;
  }
  platform::healthkit::HealthDatabase::Changes changes;
  std::vector<std::shared_ptr<const HKSample>> samples;
  std::shared_ptr<const NSError> failure;
  {
    platform::healthkit::QueryAnswerTimer timer(execution.state());
    try {
      const auto access = execution.state().readAccess(execution.reader);
      changes = execution.state().database().changesSince(
          objectType()->identifier(), position_, limit,
          platform::healthkit::dateBoundsOf(predicate()),
          platform::healthkit::DeviceState::readFilter(access, predicate()));
      samples.reserve(changes.added.size());
      for (const auto& stored : changes.added) {
        samples.push_back(
            std::dynamic_pointer_cast<const HKSample>(access->shown(stored.object, *stored.owner)));
      }
    } catch (const std::exception& error) {
      failure = platform::healthkit::makeHealthKitError(HKErrorInvalidArgument, error.what());
    }
  }
  if (failure) {
    if (handler) handler(self, {}, {}, nullptr, failure);
    return;
  }
  position_ = changes.newAnchor;
  if (!always && changes.added.empty() && changes.deleted.empty()) return;
  std::vector<std::shared_ptr<const HKDeletedObject>> deleted;
  deleted.reserve(changes.deleted.size());
  for (const auto& deletion : changes.deleted) deleted.push_back(deletion.deleted);
  execution.state().recordDelivery(execution.reader, samples);
  if (handler) {
    handler(self, std::move(samples), std::move(deleted),
            HKQueryAnchor::anchorFromValue(changes.newAnchor), nullptr);
  }
}
