#pragma once

// OSTSession(HealthKit): the engine's sync positions on the core session: anchors and query
// dates per sample type (saved at once) and the four routine and intraday-step timestamps (kept
// in memory until the next save), plus endHealthKitSession, the host's way to end every
// subscription.
//
// The asymmetry is deliberate: every anchor or query-date change is written to the database
// before the call returns, the timestamp setters change the session data only and ask for no
// save; the core session writes such changes itself soon after (with its next outbox commit, at
// the main queue's next turn, when the app enters the background). A failed save is logged at
// level 0 with the reason and returned; the change stays in memory and is written by the next
// save that succeeds.
//
// Called on the main thread (the engine's HealthKit callbacks hop there first); see
// OSTSessionData+HealthKit.h for why.
//
//   setQueryDate(*OSTSession::sharedInstance(), NSDate::date(), stepType);  // saved
//   setRoutineFetchTimestamp(*OSTSession::sharedInstance(), std::nullopt);  // saved by the core
//   endHealthKitSession(*OSTSession::sharedInstance());                      // at sign-out

#include <memory>
#include <optional>

#include "OstrandCore/OSTError.h"
#include "OstrandCore/OSTSession.h"
#include "OstrandHealthKit/Models/OSTSessionData+HealthKit.h"
#include "OstrandHealthKit/OSTHealthKitManager.h"

// --- Timestamps: not saved ---

std::optional<NSDate> routineQueryTimestamp(const OSTSession& session);
void setRoutineQueryTimestamp(OSTSession& session, std::optional<NSDate> date);
std::optional<NSDate> routineFetchTimestamp(const OSTSession& session);
void setRoutineFetchTimestamp(OSTSession& session, std::optional<NSDate> date);
std::optional<NSDate> intradayStepsQueryTimestamp(const OSTSession& session);
void setIntradayStepsQueryTimestamp(OSTSession& session, std::optional<NSDate> date);
std::optional<NSDate> intradayStepsFetchTimestamp(const OSTSession& session);
void setIntradayStepsFetchTimestamp(OSTSession& session, std::optional<NSDate> date);

// --- Anchors and query dates: saved at once ---

std::shared_ptr<const HKQueryAnchor> anchorForKey(const OSTSession& session,
                                                  const OSTSampleTypePointer& type);
OSTStatus setAnchor(OSTSession& session, std::shared_ptr<const HKQueryAnchor> anchor,
                    const OSTSampleTypePointer& type);
OSTStatus removeAnchorForKey(OSTSession& session, const OSTSampleTypePointer& type);
NSDate queryDateForKey(const OSTSession& session, const OSTSampleTypePointer& type);
OSTStatus setQueryDate(OSTSession& session, NSDate date, const OSTSampleTypePointer& type);
OSTQueryDateDictionary queryDates(const OSTSession& session);
OSTStatus setQueryDates(OSTSession& session, OSTQueryDateDictionary queryDates);
OSTStatus setAnchors(OSTSession& session, OSTAnchorDictionary anchors);

// --- Ending every subscription ---

// The host's way to end every subscription when the user's session ends: the engine subscribes
// to nothing (query dates and anchors cleared and saved, background delivery disabled, every
// query stopped), then both routine timestamps become nil. The intraday-step timestamps stay as
// they are, on purpose. Call on the main thread.
//
// Ends the subscriptions of `manager`, which is the shared engine unless a test passes its own:
// the shared engine binds its store to the device that is current when first used, so a test
// that reached it would leave a store behind for the tests after it.
void endHealthKitSession(OSTSession& session,
                         OSTHealthKitManager& manager = *OSTHealthKitManager::sharedInstance());
