#include "tools/OstrandTools/Replay/DayAudit.h"

#include <algorithm>
#include <cmath>

namespace ostrand_tools {

namespace {

constexpr double kHour = 3600;

}  // namespace

DayAudit::DayAudit(const OutboxMissesInput& input)
    : input_(input),
      calendar_(input.device.calendar()),
      healthKit_(input.device),
      to_(dayOf(input.until.dateByAddingTimeInterval(-kHour))) {
  // What arrived before the install arrived before any record was written, as every object
  // not kept here is taken to have: years of them need not be kept.
  for (const auto& object : input.released) {
    if (!(object.arrival < input.since) && input.types.summed.contains(*object.type)) {
      arrivals_.emplace(object.uuid, object.arrival);
    }
  }
}

NSDate DayAudit::nextDay(NSDate day) const {
  return *calendar_->dateByAddingUnit(NSCalendarUnitDay, 1, day, NSCalendarOptions{});
}

std::vector<NSDate> DayAudit::daysCovered(const HKSample& sample) const {
  std::vector<NSDate> days{dayOf(sample.startDate())};
  for (NSDate day = nextDay(days.front()); day < sample.endDate(); day = nextDay(day)) {
    days.push_back(day);
  }
  return days;
}

NSDate DayAudit::startingAt(std::optional<NSDate> first) const {
  const NSDate installDay = dayOf(input_.since);
  return first && *first < installDay ? dayOf(*first) : installDay;
}

NSDate DayAudit::arrivalOf(const HKObject& object) const {
  auto found = arrivals_.find(object.UUID());
  return found == arrivals_.end() ? NSDate::distantPast() : found->second;
}

std::optional<std::size_t> DayAudit::arrivedAfterWrite(const Arrivals& arrivals,
                                                       const std::string& activityID) const {
  auto written = input_.writeMoments.find(activityID);
  if (written == input_.writeMoments.end()) return std::nullopt;
  return static_cast<std::size_t>(
      std::count_if(arrivals.begin(), arrivals.end(),
                    [&written](NSDate arrival) { return !(arrival < written->second); }));
}

void DayAudit::countDifferingDay(const Arrivals& arrivals, const std::string& activityID,
                                 MissedDays& missed, bool amountIsObjects) const {
  ++missed.differing;
  const auto late = arrivedAfterWrite(arrivals, activityID);
  if (!late) {
    ++missed.unknownWriteTimes;
    return;
  }
  missed.objects += *late;
  if (amountIsObjects) missed.amount += static_cast<double>(*late);
}

NSDateComponents DayAudit::days(long count) {
  NSDateComponents components;
  components.setDay(count);
  return components;
}

bool DayAudit::same(double a, double b) {
  return std::abs(a - b) <= 1e-9 * std::max(std::abs(a), 1.0);
}

double DayAudit::valueIn(const HKQuantity::Pointer& quantity, const HKUnit& unit) {
  return quantity ? quantity->doubleValueForUnit(unit) : 0;
}

}  // namespace ostrand_tools
