#include "OstrandCore/OSTSessionData.h"

template <class T>
void OSTSessionData::change(T& field, T value) {
  std::shared_ptr<const std::function<void()>> handler;
  {
    std::lock_guard lock(mutex_);
    field = std::move(value);
    handler = changeHandler_;
  }
  if (handler) (*handler)();
}

void OSTSessionData::setChangeHandler(std::function<void()> handler) {
  std::lock_guard lock(mutex_);
  changeHandler_ =
      handler ? std::make_shared<const std::function<void()>>(std::move(handler)) : nullptr;
}

OSTAnchorDictionary OSTSessionData::anchors() const {
  std::lock_guard lock(mutex_);
  return anchors_;
}

void OSTSessionData::setAnchors(OSTAnchorDictionary anchors) {
  change(anchors_, std::move(anchors));
}

OSTQueryDateDictionary OSTSessionData::queryDates() const {
  std::lock_guard lock(mutex_);
  return queryDates_;
}

void OSTSessionData::setQueryDates(OSTQueryDateDictionary queryDates) {
  change(queryDates_, std::move(queryDates));
}

std::optional<NSDate> OSTSessionData::routineQueryTimestamp() const {
  std::lock_guard lock(mutex_);
  return routineQueryTimestamp_;
}

void OSTSessionData::setRoutineQueryTimestamp(std::optional<NSDate> date) {
  change(routineQueryTimestamp_, date);
}

std::optional<NSDate> OSTSessionData::routineFetchTimestamp() const {
  std::lock_guard lock(mutex_);
  return routineFetchTimestamp_;
}

void OSTSessionData::setRoutineFetchTimestamp(std::optional<NSDate> date) {
  change(routineFetchTimestamp_, date);
}

std::optional<NSDate> OSTSessionData::intradayStepsQueryTimestamp() const {
  std::lock_guard lock(mutex_);
  return intradayStepsQueryTimestamp_;
}

void OSTSessionData::setIntradayStepsQueryTimestamp(std::optional<NSDate> date) {
  change(intradayStepsQueryTimestamp_, date);
}

std::optional<NSDate> OSTSessionData::intradayStepsFetchTimestamp() const {
  std::lock_guard lock(mutex_);
  return intradayStepsFetchTimestamp_;
}

void OSTSessionData::setIntradayStepsFetchTimestamp(std::optional<NSDate> date) {
  change(intradayStepsFetchTimestamp_, date);
}
