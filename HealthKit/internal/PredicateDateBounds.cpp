#include "HealthKit/internal/PredicateDateBounds.h"

#include <algorithm>
#include <stdexcept>

#include "Foundation/NSComparisonPredicate.h"
#include "Foundation/NSCompoundPredicate.h"
#include "Foundation/internal/PredicateFormatParser.h"
#include "HealthKit/HKSample.h"

namespace platform::healthkit {

namespace {

// An AND of more than this many OR'ed ranges keeps only its single-range parts' bounds.
constexpr std::size_t kMostRanges = 64;

std::vector<DateBounds> everything() { return {DateBounds{}}; }

bool isUnbounded(const std::vector<DateBounds>& ranges) {
  return std::any_of(ranges.begin(), ranges.end(),
                     [](const DateBounds& range) { return range.unbounded(); });
}

DateBounds intersect(DateBounds a, const DateBounds& b) {
  a.startFrom = std::max(a.startFrom, b.startFrom);
  a.startTo = std::min(a.startTo, b.startTo);
  a.endFrom = std::max(a.endFrom, b.endFrom);
  a.endTo = std::min(a.endTo, b.endTo);
  return a;
}

DateBounds boundsOfComparison(const NSComparisonPredicate& comparison) {
  DateBounds bounds;
  const bool start = comparison.keyPath() == HKPredicateKeyPathStartDate;
  const bool end = comparison.keyPath() == HKPredicateKeyPathEndDate;
  if ((!start && !end) || !comparison.value().isDate()) return bounds;
  const double date = comparison.value().dateValue().timeIntervalSinceReferenceDate();
  double& from = start ? bounds.startFrom : bounds.endFrom;
  double& to = start ? bounds.startTo : bounds.endTo;
  switch (comparison.predicateOperatorType()) {
    case NSLessThanPredicateOperatorType:
    case NSLessThanOrEqualToPredicateOperatorType:
      to = date;
      break;
    case NSGreaterThanPredicateOperatorType:
    case NSGreaterThanOrEqualToPredicateOperatorType:
      from = date;
      break;
    case NSEqualToPredicateOperatorType:
      from = to = date;
      break;
    default:
      break;
  }
  return bounds;
}

std::vector<DateBounds> boundsOfTree(const NSPredicate& predicate, bool mayReparse = true);

std::vector<DateBounds> boundsOfAnd(const NSCompoundPredicate::Subpredicates& parts) {
  std::vector<DateBounds> ranges = everything();
  for (const auto& part : parts) {
    const std::vector<DateBounds> narrowed = boundsOfTree(*part);
    if (isUnbounded(narrowed)) continue;
    if (narrowed.size() == 1) {
      for (DateBounds& range : ranges) range = intersect(range, narrowed.front());
    } else if (ranges.size() == 1 && narrowed.size() <= kMostRanges) {
      std::vector<DateBounds> distributed;
      for (const DateBounds& range : narrowed) distributed.push_back(intersect(ranges[0], range));
      ranges = std::move(distributed);
    }
  }
  return ranges;
}

std::vector<DateBounds> boundsOfOr(const NSCompoundPredicate::Subpredicates& parts) {
  std::vector<DateBounds> ranges;
  for (const auto& part : parts) {
    std::vector<DateBounds> alternative = boundsOfTree(*part);
    if (isUnbounded(alternative)) return everything();
    ranges.insert(ranges.end(), alternative.begin(), alternative.end());
    if (ranges.size() > kMostRanges) return everything();
  }
  return ranges;  // an OR of nothing matches nothing
}

std::vector<DateBounds> boundsOfTree(const NSPredicate& predicate, bool mayReparse) {
  if (const auto* comparison = dynamic_cast<const NSComparisonPredicate*>(&predicate)) {
    return {boundsOfComparison(*comparison)};
  }
  if (const auto* compound = dynamic_cast<const NSCompoundPredicate*>(&predicate)) {
    switch (compound->compoundPredicateType()) {
      case NSAndPredicateType:
        return boundsOfAnd(compound->subpredicates());
      case NSOrPredicateType:
        return boundsOfOr(compound->subpredicates());
      default:
        return everything();
    }
  }
  if (!mayReparse) return everything();
  // A predicate made from a format keeps the format and its arguments, which parse back into
  // the tree it evaluates.
  try {
    return boundsOfTree(*internal::parsePredicateFormat(predicate.format(), predicate.arguments()),
                        false);
  } catch (const std::invalid_argument&) {
    return everything();
  }
}

}  // namespace

std::vector<DateBounds> dateBoundsOf(const std::shared_ptr<const NSPredicate>& predicate) {
  return predicate ? boundsOfTree(*predicate) : everything();
}

}  // namespace platform::healthkit
