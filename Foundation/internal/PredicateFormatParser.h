#pragma once

// Parses a predicate format with its arguments into a tree of NSComparisonPredicate,
// NSCompoundPredicate and constant predicates. Used by NSPredicate::predicateWithFormat and by
// HealthKit's simulator, which reads date bounds out of a format predicate's tree.
// Throws std::invalid_argument "predicateWithFormat: <problem> at offset <n> in \"<format>\"".

#include <memory>
#include <string>
#include <vector>

#include "Foundation/NSAny.h"

class NSPredicate;

namespace platform::internal {

std::shared_ptr<const NSPredicate> parsePredicateFormat(const std::string& format,
                                                        const std::vector<NSAny>& arguments);

// Whether the key path can stand in a format as it is (a dotted name that is no keyword), so
// that parsing the format gives the key path back.
bool isLiteralKeyPath(const std::string& keyPath);

// Writes the arguments into the format for predicateFormat(): %K becomes the key path, %@ the
// value as a predicate literal (strings quoted, dates as CAST(<seconds>, "NSDate")).
std::string renderPredicateFormat(const std::string& format, const std::vector<NSAny>& arguments);

}  // namespace platform::internal
