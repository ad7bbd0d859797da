#include "HealthKit/HKQuery.h"

#include <stdexcept>

#include "HealthKit/internal/HandlerGate.h"
#include "HealthKit/internal/QueryExecution.h"

HKQuery::HKQuery(std::shared_ptr<const HKObjectType> objectType,
                 std::shared_ptr<const NSPredicate> predicate)
    : objectType_(std::move(objectType)),
      predicate_(std::move(predicate)),
      gate_(std::make_unique<platform::healthkit::HandlerGate>()) {
  if (!objectType_) throw std::invalid_argument("HKQuery: the object type must not be null");
}

HKQuery::~HKQuery() = default;

std::shared_ptr<const HKSampleType> HKQuery::sampleType() const {
  return std::dynamic_pointer_cast<const HKSampleType>(objectType_);
}

void HKQuery::databaseDidChange(const platform::healthkit::QueryExecution&,
                                const platform::healthkit::DatabaseChange&) {}

void HKQuery::execute(std::shared_ptr<platform::healthkit::QueryExecution> execution) {
  if (executed_.exchange(true)) {
    throw std::invalid_argument("executeQuery: " + className() +
                                " was already executed; each query may only be executed once");
  }
  {
    std::lock_guard<std::mutex> lock(executionMutex_);
    execution_ = execution;
  }
  if (gate_->isClosed()) return;  // stopped before it ever ran
  auto self = std::static_pointer_cast<HKQuery>(shared_from_this());
  // Registered before the first run is queued, so no change made after this point is missed:
  // a change queued ahead of run() is covered by run() itself.
  execution->state().registerQuery(self);
  if (gate_->isClosed()) {  // stopped meanwhile, perhaps before it was registered
    execution->state().unregisterQuery(this);
    return;
  }
  dispatch_async(execution->queue,
                 [self, execution] { self->gate_->run([&] { self->run(*execution); }); });
}

void HKQuery::stop() {
  gate_->close();
  if (auto execution = currentExecution()) execution->state().unregisterQuery(this);
}

void HKQuery::finish(const platform::healthkit::QueryExecution& execution) {
  execution.state().unregisterQuery(this);
}

std::shared_ptr<platform::healthkit::QueryExecution> HKQuery::currentExecution() const {
  std::lock_guard<std::mutex> lock(executionMutex_);
  return execution_;
}

void HKQuery::notifyChange(std::shared_ptr<const platform::healthkit::DatabaseChange> change) {
  auto execution = currentExecution();
  if (!execution) return;
  auto self = std::static_pointer_cast<HKQuery>(shared_from_this());
  dispatch_async(execution->queue, [self, execution, change] {
    self->gate_->run([&] { self->databaseDidChange(*execution, *change); });
  });
}

void HKQuery::applicationDidBecomeActive(const platform::healthkit::QueryExecution&) {}

void HKQuery::notifyApplicationDidBecomeActive() {
  auto execution = currentExecution();
  if (!execution) return;
  auto self = std::static_pointer_cast<HKQuery>(shared_from_this());
  dispatch_async(execution->queue, [self, execution] {
    self->gate_->run([&] { self->applicationDidBecomeActive(*execution); });
  });
}
