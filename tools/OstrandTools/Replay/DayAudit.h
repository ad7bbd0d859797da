#pragma once

// DayAudit: what OutboxMisses' comparisons of the outbox's day records with HealthKit share:
// the replay's inputs, HealthKit read with every permission (HealthKitAudit), the person's
// days, the last day compared, when each sample of a summed type (made into day records)
// reached HealthKit, and when each record was last written.
//
// Main thread only.

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Foundation/NSCalendar.h"
#include "HealthKit/HKQuantity.h"
#include "HealthKit/HKSample.h"
#include "tools/OstrandTools/Replay/HealthKitAudit.h"
#include "tools/OstrandTools/Replay/OutboxMisses.h"

namespace ostrand_tools {

using Arrivals = std::vector<NSDate>;

class DayAudit {
 public:
  explicit DayAudit(const OutboxMissesInput& input);

  const OutboxMissesInput& input() const { return input_; }
  HealthKitAudit& healthKit() { return healthKit_; }
  // The end of the last day compared: the start of the day an hour before the replay ended.
  NSDate to() const { return to_; }
  NSDate dayOf(NSDate moment) const { return *calendar_->startOfDayForDate(moment); }
  NSDate nextDay(NSDate day) const;
  // The days the sample covers (its start's day, and each later one it reaches into).
  std::vector<NSDate> daysCovered(const HKSample& sample) const;
  // The earlier of the install day and `first`, the first day the outbox holds of a kind.
  NSDate startingAt(std::optional<NSDate> first) const;
  // When the sample reached HealthKit (a sample of a summed type the replay saved); the distant
  // past for one that was there at the install, before any record was written.
  NSDate arrivalOf(const HKObject& object) const;
  // A day whose record differs from HealthKit: its samples that arrived at or after the
  // record's last write are missing (also as the amount when `amountIsObjects`).
  void countDifferingDay(const Arrivals& arrivals, const std::string& activityID,
                         MissedDays& missed, bool amountIsObjects = false) const;

  // The outbox's records of one class that `holds` accepts, by activity identifier, and the day
  // of the earliest of them.
  template <class Record, class Holds>
  std::unordered_map<std::string, const Record*> recordsByKey(Holds holds,
                                                              std::optional<NSDate>& first) const {
    std::unordered_map<std::string, const Record*> records;
    for (const auto& record : input_.records) {
      const auto* typed = dynamic_cast<const Record*>(record.get());
      if (!typed || !typed->activityID() || !typed->timestamp() || !holds(*typed)) continue;
      records[*typed->activityID()] = typed;
      first = std::min(first.value_or(NSDate::distantFuture()), dayOf(*typed->timestamp()));
    }
    return records;
  }

  static NSDateComponents days(long count);
  // Whether two values are the same up to rounding.
  static bool same(double a, double b);
  static double valueIn(const HKQuantity::Pointer& quantity, const HKUnit& unit);

 private:
  // How many of `arrivals` reached HealthKit at or after the record's last write; nullopt when
  // the write is not known (it came before the replay last started).
  std::optional<std::size_t> arrivedAfterWrite(const Arrivals& arrivals,
                                               const std::string& activityID) const;

  const OutboxMissesInput& input_;
  std::shared_ptr<NSCalendar> calendar_;
  HealthKitAudit healthKit_;
  NSDate to_;
  // Of the summed types' samples saved after the install.
  std::unordered_map<NSUUID, NSDate> arrivals_;
};

}  // namespace ostrand_tools
