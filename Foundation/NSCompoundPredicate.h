#pragma once

// NSCompoundPredicate: the AND or OR of a list of predicates, or the NOT of one.
//
// AND of no predicates is true, OR of none is false (the neutral elements). Subpredicates are
// evaluated in order and evaluation stops as soon as the result is known. Immutable and
// thread-safe to evaluate; holds its subpredicates. format() joins the subpredicates' formats,
// each in parentheses, and arguments() concatenates theirs, so the pair parses back to an
// equivalent predicate.
//
//   auto both = NSCompoundPredicate::andPredicateWithSubpredicates({inWindow, userEntered});

#include <memory>
#include <vector>

#include "Foundation/NSObjCRuntime.h"
#include "Foundation/NSPredicate.h"

enum NSCompoundPredicateType : NSUInteger {
  NSNotPredicateType = 0,
  NSAndPredicateType = 1,
  NSOrPredicateType = 2,
};

class NSCompoundPredicate : public NSPredicate {
 public:
  using Subpredicates = std::vector<std::shared_ptr<const NSPredicate>>;

  // Throws std::invalid_argument for a null subpredicate, or a NOT without exactly one.
  NSCompoundPredicate(NSCompoundPredicateType type, Subpredicates subpredicates);

  static std::shared_ptr<const NSCompoundPredicate> andPredicateWithSubpredicates(
      Subpredicates subpredicates);
  static std::shared_ptr<const NSCompoundPredicate> orPredicateWithSubpredicates(
      Subpredicates subpredicates);
  static std::shared_ptr<const NSCompoundPredicate> notPredicateWithSubpredicate(
      std::shared_ptr<const NSPredicate> subpredicate);

  NSCompoundPredicateType compoundPredicateType() const { return type_; }
  const Subpredicates& subpredicates() const { return subpredicates_; }

  bool evaluateWithObject(const NSObject& object) const override;
  std::string className() const override { return "NSCompoundPredicate"; }

 private:
  NSCompoundPredicateType type_;
  Subpredicates subpredicates_;
};
