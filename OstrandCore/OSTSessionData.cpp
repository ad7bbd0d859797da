#include "OstrandCore/OSTSessionData.h"

OSTAnchorDictionary OSTSessionData::anchors() const {
  std::lock_guard lock(mutex_);
  return anchors_;
}

void OSTSessionData::setAnchors(OSTAnchorDictionary anchors) {
  std::lock_guard lock(mutex_);
  anchors_ = std::move(anchors);
}

OSTQueryDateDictionary OSTSessionData::queryDates() const {
  std::lock_guard lock(mutex_);
  return queryDates_;
}

void OSTSessionData::setQueryDates(OSTQueryDateDictionary queryDates) {
  std::lock_guard lock(mutex_);
  queryDates_ = std::move(queryDates);
}

std::optional<NSDate> OSTSessionData::routineQueryTimestamp() const {
  std::lock_guard lock(mutex_);
  return routineQueryTimestamp_;
}

void OSTSessionData::setRoutineQueryTimestamp(std::optional<NSDate> date) {
  std::lock_guard lock(mutex_);
  routineQueryTimestamp_ = date;
}

std::optional<NSDate> OSTSessionData::routineFetchTimestamp() const {
  std::lock_guard lock(mutex_);
  return routineFetchTimestamp_;
}

void OSTSessionData::setRoutineFetchTimestamp(std::optional<NSDate> date) {
  std::lock_guard lock(mutex_);
  routineFetchTimestamp_ = date;
}

std::optional<NSDate> OSTSessionData::intradayStepsQueryTimestamp() const {
  std::lock_guard lock(mutex_);
  return intradayStepsQueryTimestamp_;
}

void OSTSessionData::setIntradayStepsQueryTimestamp(std::optional<NSDate> date) {
  std::lock_guard lock(mutex_);
  intradayStepsQueryTimestamp_ = date;
}

std::optional<NSDate> OSTSessionData::intradayStepsFetchTimestamp() const {
  std::lock_guard lock(mutex_);
  return intradayStepsFetchTimestamp_;
}

void OSTSessionData::setIntradayStepsFetchTimestamp(std::optional<NSDate> date) {
  std::lock_guard lock(mutex_);
  intradayStepsFetchTimestamp_ = date;
}
