#pragma once

// NSComparisonPredicate: one comparison of the value at a key path with a constant value, the
// predicate behind HealthKit's predicateForObjectsWithMetadataKey:operatorType:value:.
//
// Foundation builds these from a pair of expressions; this layer only ever compares a key path
// with a constant, so it takes the two directly (predicateWithKeyPath). Immutable and
// thread-safe to evaluate. Its format() is the one predicateWithFormat would accept:
// "metadata.HKWasUserEntered == %@" with the value as the one argument, or, for a key path that
// is not a plain dotted name, "%K == %@" with the key path and the value as arguments.

#include <memory>
#include <string>

#include "Foundation/NSObjCRuntime.h"
#include "Foundation/NSPredicate.h"

// Foundation's raw values. This layer evaluates LessThan through NotEqualTo and In; the others
// are named for completeness and rejected when a predicate is made.
enum NSPredicateOperatorType : NSUInteger {
  NSLessThanPredicateOperatorType = 0,
  NSLessThanOrEqualToPredicateOperatorType = 1,
  NSGreaterThanPredicateOperatorType = 2,
  NSGreaterThanOrEqualToPredicateOperatorType = 3,
  NSEqualToPredicateOperatorType = 4,
  NSNotEqualToPredicateOperatorType = 5,
  NSMatchesPredicateOperatorType = 6,
  NSLikePredicateOperatorType = 7,
  NSBeginsWithPredicateOperatorType = 8,
  NSEndsWithPredicateOperatorType = 9,
  NSInPredicateOperatorType = 10,
  NSCustomSelectorPredicateOperatorType = 11,
  NSContainsPredicateOperatorType = 99,
  NSBetweenPredicateOperatorType = 100,
};

class NSComparisonPredicate : public NSPredicate {
 public:
  // Throws std::invalid_argument for an empty key path, an operator this layer does not
  // evaluate, or an IN whose value is not an NSArray.
  NSComparisonPredicate(std::string keyPath, NSPredicateOperatorType type, NSAny value);

  static std::shared_ptr<const NSComparisonPredicate> predicateWithKeyPath(
      std::string keyPath, NSPredicateOperatorType type, NSAny value);

  const std::string& keyPath() const { return keyPath_; }
  NSPredicateOperatorType predicateOperatorType() const { return type_; }
  const NSAny& value() const { return value_; }

  bool evaluateWithObject(const NSObject& object) const override;
  std::string className() const override { return "NSComparisonPredicate"; }

  // Whether `left op right` holds under Foundation's rules (see NSPredicate.h).
  static bool compareValues(const NSAny& left, NSPredicateOperatorType type, const NSAny& right);
  // "<", "<=", ">", ">=", "==", "!=" or "IN"; throws std::invalid_argument for the others.
  static const char* operatorSymbol(NSPredicateOperatorType type);

 private:
  std::string keyPath_;
  NSPredicateOperatorType type_;
  NSAny value_;
};
