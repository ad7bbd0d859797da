#pragma once

// PredicateDateBounds: the stretch of time a query's predicate can possibly match, so the
// database reads only the samples whose dates could pass it instead of every sample of the type.
//
// The bounds are conservative: every sample the predicate accepts lies inside them, but a sample
// inside them may still fail the predicate, so callers always evaluate the predicate itself on
// what the bounds let through. Comparisons of "startDate" or "endDate" with a date bound those
// dates (HKQuery::predicateForSamplesWithStartDate builds such an AND); an AND narrows its parts'
// bounds, an OR (the filter of a workout's active intervals) is the union of its parts' bounds,
// and anything else (NOT, other key paths, a value that is not a date) does not bound at all.
// Predicates made from a format are read through the tree that format parses into.
//
// Pure values and a pure function; thread-safe.

#include <limits>
#include <memory>
#include <vector>

class NSPredicate;

namespace platform::healthkit {

// Closed bounds, in seconds since the reference date, on a sample's start and end dates.
struct DateBounds {
  static constexpr double kNone = std::numeric_limits<double>::infinity();
  double startFrom = -kNone;
  double startTo = kNone;
  double endFrom = -kNone;
  double endTo = kNone;

  bool unbounded() const {
    return startFrom == -kNone && startTo == kNone && endFrom == -kNone && endTo == kNone;
  }
  bool contains(double start, double end) const {
    return start >= startFrom && start <= startTo && end >= endFrom && end <= endTo;
  }
};

// The bounds of `predicate` (nullptr matches everything): one or more ranges, any sample the
// predicate accepts lies in at least one. A single unbounded range means "no bound".
std::vector<DateBounds> dateBoundsOf(const std::shared_ptr<const NSPredicate>& predicate);

}  // namespace platform::healthkit
