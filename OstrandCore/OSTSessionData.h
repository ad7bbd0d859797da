#pragma once

// OSTSessionData: what the core session remembers for its user between launches: per HealthKit
// sample type the last query anchor and the next query date, and four timestamps of the routine
// and intraday-step fetches. OSTSession owns it (sessionData()) and persists it with
// saveSessionData().
//
// The two dictionaries are values: read a copy, change it, store it back whole. They are empty,
// never missing, from the start. Anchors come in two forms: an HKQueryAnchor, or, in data kept
// by older versions, a plain unsigned number (OSTStoredAnchor).
//
// Every setter then calls the change handler, if one is set: OSTSession sets it on the data of a
// running session, to write what changed without being asked (see OSTSession).
//
// Thread-safe: every accessor locks; a read-change-write of a dictionary by two threads at once
// is not atomic, so its callers keep to one thread (the engine uses the main queue).
//
//   auto anchors = data->anchors();
//   anchors[stepType] = newAnchor;
//   data->setAnchors(std::move(anchors));

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <variant>

#include "Foundation/NSDate.h"
#include "HealthKit/HKObjectType.h"
#include "HealthKit/HKQueryAnchor.h"
#include "OstrandCore/OSTModel.h"

// Orders sample types by identifier, so dictionaries keyed by type iterate in a stable order.
struct OSTSampleTypeLess {
  bool operator()(const std::shared_ptr<const HKSampleType>& a,
                  const std::shared_ptr<const HKSampleType>& b) const {
    return a->identifier() < b->identifier();
  }
};

// An anchor as stored: an anchor object, or the plain number older data holds.
using OSTStoredAnchor = std::variant<std::shared_ptr<const HKQueryAnchor>, std::uint64_t>;

using OSTAnchorDictionary =
    std::map<std::shared_ptr<const HKSampleType>, OSTStoredAnchor, OSTSampleTypeLess>;
using OSTQueryDateDictionary =
    std::map<std::shared_ptr<const HKSampleType>, NSDate, OSTSampleTypeLess>;

class OSTSessionData : public OSTModel {
 public:
  OSTAnchorDictionary anchors() const;
  void setAnchors(OSTAnchorDictionary anchors);
  OSTQueryDateDictionary queryDates() const;
  void setQueryDates(OSTQueryDateDictionary queryDates);

  std::optional<NSDate> routineQueryTimestamp() const;
  void setRoutineQueryTimestamp(std::optional<NSDate> date);
  std::optional<NSDate> routineFetchTimestamp() const;
  void setRoutineFetchTimestamp(std::optional<NSDate> date);
  std::optional<NSDate> intradayStepsQueryTimestamp() const;
  void setIntradayStepsQueryTimestamp(std::optional<NSDate> date);
  std::optional<NSDate> intradayStepsFetchTimestamp() const;
  void setIntradayStepsFetchTimestamp(std::optional<NSDate> date);

  // Called after every change, on the changing thread, without this object's lock held; it may
  // read the data. Empty: none.
  void setChangeHandler(std::function<void()> handler);

  std::string className() const override { return "OSTSessionData"; }

 private:
  // Sets `field` to `value` under the lock, then calls the change handler.
  template <class T>
  void change(T& field, T value);

  mutable std::mutex mutex_;  // guards every field below
  std::shared_ptr<const std::function<void()>> changeHandler_;
  OSTAnchorDictionary anchors_;
  OSTQueryDateDictionary queryDates_;
  std::optional<NSDate> routineQueryTimestamp_;
  std::optional<NSDate> routineFetchTimestamp_;
  std::optional<NSDate> intradayStepsQueryTimestamp_;
  std::optional<NSDate> intradayStepsFetchTimestamp_;
};
