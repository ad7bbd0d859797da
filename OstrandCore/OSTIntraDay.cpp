#include "OstrandCore/OSTIntraDay.h"

#include <cmath>
#include <stdexcept>

void OSTIntraDay::addValue(double value, NSDate startDate, NSDate endDate) {
  if (!std::isfinite(value) || !std::isfinite(startDate.timeIntervalSinceReferenceDate()) ||
      !std::isfinite(endDate.timeIntervalSinceReferenceDate())) {
    throw std::invalid_argument(
        "addValue:withStartDate:withEndDate: OSTIntraDay values and dates must be finite");
  }
  if (endDate < startDate) {
    throw std::invalid_argument("addValue:withStartDate:withEndDate: OSTIntraDay end " +
                                endDate.description() + " is before start " +
                                startDate.description());
  }
  values_.insert_or_assign(startDate, Value{startDate, endDate, value});
}

void OSTIntraDay::updateWith(const OSTRecord& newer) {
  OSTRecord::updateWith(newer);
  for (const auto& [start, value] : static_cast<const OSTIntraDay&>(newer).values_) {
    values_.insert_or_assign(start, value);
  }
}

bool OSTIntraDay::isEqual(const NSObject& other) const {
  const auto* series = dynamic_cast<const OSTIntraDay*>(&other);
  return series != nullptr && OSTRecord::isEqual(other) && series->values_ == values_;
}
