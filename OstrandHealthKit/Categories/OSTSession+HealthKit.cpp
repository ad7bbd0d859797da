#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"

std::optional<NSDate> routineQueryTimestamp(const OSTSession& session) {
  return session.sessionData()->routineQueryTimestamp();
}
void setRoutineQueryTimestamp(OSTSession& session, std::optional<NSDate> date) {
  session.sessionData()->setRoutineQueryTimestamp(date);
}
std::optional<NSDate> routineFetchTimestamp(const OSTSession& session) {
  return session.sessionData()->routineFetchTimestamp();
}
void setRoutineFetchTimestamp(OSTSession& session, std::optional<NSDate> date) {
  session.sessionData()->setRoutineFetchTimestamp(date);
}
std::optional<NSDate> intradayStepsQueryTimestamp(const OSTSession& session) {
  return session.sessionData()->intradayStepsQueryTimestamp();
}
void setIntradayStepsQueryTimestamp(OSTSession& session, std::optional<NSDate> date) {
  session.sessionData()->setIntradayStepsQueryTimestamp(date);
}
std::optional<NSDate> intradayStepsFetchTimestamp(const OSTSession& session) {
  return session.sessionData()->intradayStepsFetchTimestamp();
}
void setIntradayStepsFetchTimestamp(OSTSession& session, std::optional<NSDate> date) {
  session.sessionData()->setIntradayStepsFetchTimestamp(date);
}

std::shared_ptr<const HKQueryAnchor> anchorForKey(const OSTSession& session,
                                                  const OSTSampleTypePointer& type) {
  return anchorForKey(*session.sessionData(), type);
}

OSTStatus setAnchor(OSTSession& session, std::shared_ptr<const HKQueryAnchor> anchor,
                    const OSTSampleTypePointer& type) {
  setAnchor(*session.sessionData(), std::move(anchor), type);
  return session.saveSessionData();
}

OSTStatus removeAnchorForKey(OSTSession& session, const OSTSampleTypePointer& type) {
  removeAnchorForKey(*session.sessionData(), type);
  return session.saveSessionData();
}

NSDate queryDateForKey(const OSTSession& session, const OSTSampleTypePointer& type) {
  return queryDateForKey(*session.sessionData(), type);
}

OSTStatus setQueryDate(OSTSession& session, NSDate date, const OSTSampleTypePointer& type) {
  setQueryDate(*session.sessionData(), date, type);
  return session.saveSessionData();
}

OSTQueryDateDictionary queryDates(const OSTSession& session) {
  return session.sessionData()->queryDates();
}

OSTStatus setQueryDates(OSTSession& session, OSTQueryDateDictionary queryDates) {
  session.sessionData()->setQueryDates(std::move(queryDates));
  return session.saveSessionData();
}

OSTStatus setAnchors(OSTSession& session, OSTAnchorDictionary anchors) {
  session.sessionData()->setAnchors(std::move(anchors));
  return session.saveSessionData();
}

void endHealthKitSession(OSTSession& session, OSTHealthKitManager& manager) {
  manager.setSubscriptions({}, nullptr);
  setRoutineFetchTimestamp(session, std::nullopt);
  setRoutineQueryTimestamp(session, std::nullopt);
}
