#pragma once

// NSPredicate: a condition evaluated against objects through their key paths. The sync engine
// builds predicates from formats and arguments; HealthKit's simulator evaluates them against
// samples.
//
// Immutable and thread-safe to evaluate; held by std::shared_ptr<const NSPredicate>. A format is
// parsed completely when the predicate is made: anything unsupported, a missing or extra
// argument or an argument of the wrong kind throws std::invalid_argument quoting the format and
// the character offset of the problem, so a bad format never becomes a predicate that matches
// everything.
//
// Format grammar (keywords in any case; blanks allowed anywhere between tokens):
//   predicate  := or
//   or         := and (("OR" | "||") and)*
//   and        := not (("AND" | "&&") not)*          AND binds tighter than OR
//   not        := ("NOT" | "!") not | "(" or ")" | "TRUEPREDICATE" | "FALSEPREDICATE" | comparison
//   comparison := keypath op value
//   keypath    := "%K" (the next argument, a string) | identifier ("." identifier)*
//   op         := "==" | "=" | "!=" | "<>" | "<" | "<=" | "=<" | ">" | ">=" | "=>" | "IN"
//   value      := "%@" (the next argument) | "nil" | "NULL" | "YES" | "NO" | "TRUE" | "FALSE"
//               | number | "quoted string" | 'quoted string'
// IN needs an NSArray argument. Evaluation follows Foundation: "== nil" holds for a nil value;
// <, <=, >, >= with nil on either side are false; numbers compare numerically, dates as instants,
// strings byte-wise, objects through isEqual and compare; values of different kinds are unequal
// and unordered (so != holds and every ordering is false).
//
//   auto inWindow = NSPredicate::predicateWithFormat(
//       "%K >= %@ AND %K < %@", {"endDate", from, "endDate", to});
//   inWindow->evaluateWithObject(*sample);

#include <memory>
#include <string>
#include <vector>

#include "Foundation/NSAny.h"
#include "Foundation/NSObject.h"

class NSPredicate : public NSObject {
 public:
  // Both predicateWithFormat: and predicateWithFormat:argumentArray:. Every %K and %@ takes the
  // next argument in order; all arguments must be used.
  static std::shared_ptr<const NSPredicate> predicateWithFormat(const std::string& format,
                                                                std::vector<NSAny> arguments = {});
  // A predicate that is always true or always false ("TRUEPREDICATE" / "FALSEPREDICATE").
  static std::shared_ptr<const NSPredicate> predicateWithValue(bool value);

  // Whether the object satisfies the predicate. An unknown key path on the object throws
  // (std::invalid_argument from NSObject::valueForKey).
  virtual bool evaluateWithObject(const NSObject& object) const = 0;

  // The format and arguments exactly as given (or, for predicates built otherwise, a format that
  // predicateWithFormat accepts with these arguments).
  const std::string& format() const { return format_; }
  const std::vector<NSAny>& arguments() const { return arguments_; }
  // The format with its arguments written in: "endDate >= CAST(731696400.000000, \"NSDate\")".
  // For logs and test messages.
  std::string predicateFormat() const;

  std::string description() const override { return predicateFormat(); }
  std::string className() const override { return "NSPredicate"; }

 protected:
  NSPredicate(std::string format, std::vector<NSAny> arguments);

 private:
  std::string format_;
  std::vector<NSAny> arguments_;
};
