#include "Foundation/NSComparisonPredicate.h"

#include <stdexcept>

#include "Foundation/NSArray.h"
#include "Foundation/internal/PredicateFormatParser.h"

namespace {

// "metadata.HKWasUserEntered == %@"; a key path no format could spell as a name (a custom
// metadata key with blanks or dashes) goes in as a %K argument instead, so the format always
// parses back.
std::string formatFor(const std::string& keyPath, NSPredicateOperatorType type) {
  const std::string left = platform::internal::isLiteralKeyPath(keyPath) ? keyPath : "%K";
  return left + " " + NSComparisonPredicate::operatorSymbol(type) + " %@";
}

std::vector<NSAny> argumentsFor(const std::string& keyPath, const NSAny& value) {
  if (platform::internal::isLiteralKeyPath(keyPath)) return {value};
  return {keyPath, value};
}

}  // namespace

NSComparisonPredicate::NSComparisonPredicate(std::string keyPath, NSPredicateOperatorType type,
                                             NSAny value)
    : NSPredicate(formatFor(keyPath, type), argumentsFor(keyPath, value)),
      keyPath_(std::move(keyPath)),
      type_(type),
      value_(std::move(value)) {
  if (keyPath_.empty()) throw std::invalid_argument("NSComparisonPredicate: empty key path");
  if (type_ == NSInPredicateOperatorType && !value_.objectAs<NSArray>()) {
    throw std::invalid_argument("NSComparisonPredicate: IN needs an NSArray value, got " +
                                value_.kindName());
  }
}

std::shared_ptr<const NSComparisonPredicate> NSComparisonPredicate::predicateWithKeyPath(
    std::string keyPath, NSPredicateOperatorType type, NSAny value) {
  return std::make_shared<const NSComparisonPredicate>(std::move(keyPath), type, std::move(value));
}

const char* NSComparisonPredicate::operatorSymbol(NSPredicateOperatorType type) {
  switch (type) {
    case NSLessThanPredicateOperatorType:
      return "<";
    case NSLessThanOrEqualToPredicateOperatorType:
      return "<=";
    case NSGreaterThanPredicateOperatorType:
      return ">";
    case NSGreaterThanOrEqualToPredicateOperatorType:
      return ">=";
    case NSEqualToPredicateOperatorType:
      return "==";
    case NSNotEqualToPredicateOperatorType:
      return "!=";
    case NSInPredicateOperatorType:
      return "IN";
    default:
      throw std::invalid_argument("NSComparisonPredicate: unsupported operator type " +
                                  std::to_string(static_cast<NSUInteger>(type)));
  }
}

bool NSComparisonPredicate::compareValues(const NSAny& left, NSPredicateOperatorType type,
                                          const NSAny& right) {
  switch (type) {
    case NSEqualToPredicateOperatorType:
      return left.isEqual(right);
    case NSNotEqualToPredicateOperatorType:
      return !left.isEqual(right);
    case NSInPredicateOperatorType: {
      auto array = right.objectAs<NSArray>();
      return array && !left.isNil() && array->containsObject(left);
    }
    default:
      break;
  }
  std::optional<NSComparisonResult> order = left.compare(right);
  if (!order) return false;  // nil, different kinds, NaN, objects that cannot be ordered
  switch (type) {
    case NSLessThanPredicateOperatorType:
      return *order == NSOrderedAscending;
    case NSLessThanOrEqualToPredicateOperatorType:
      return *order != NSOrderedDescending;
    case NSGreaterThanPredicateOperatorType:
      return *order == NSOrderedDescending;
    case NSGreaterThanOrEqualToPredicateOperatorType:
      return *order != NSOrderedAscending;
    default:
      operatorSymbol(type);  // throws for the operators this layer does not evaluate
  }
  return false;
}

bool NSComparisonPredicate::evaluateWithObject(const NSObject& object) const {
  return compareValues(object.valueForKeyPath(keyPath_), type_, value_);
}
