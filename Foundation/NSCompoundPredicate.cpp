#include "Foundation/NSCompoundPredicate.h"

#include <stdexcept>

namespace {

std::string joinedFormat(NSCompoundPredicateType type,
                         const NSCompoundPredicate::Subpredicates& subpredicates) {
  if (type == NSNotPredicateType) {
    if (subpredicates.size() != 1 || !subpredicates.front()) {
      throw std::invalid_argument("NSCompoundPredicate: NOT needs exactly one subpredicate");
    }
    return "NOT (" + subpredicates.front()->format() + ")";
  }
  if (subpredicates.empty()) return type == NSAndPredicateType ? "TRUEPREDICATE" : "FALSEPREDICATE";
  std::string format;
  for (const auto& subpredicate : subpredicates) {
    if (!subpredicate) throw std::invalid_argument("NSCompoundPredicate: null subpredicate");
    if (!format.empty()) format += type == NSAndPredicateType ? " AND " : " OR ";
    format += "(" + subpredicate->format() + ")";
  }
  return format;
}

std::vector<NSAny> joinedArguments(const NSCompoundPredicate::Subpredicates& subpredicates) {
  std::vector<NSAny> arguments;
  for (const auto& subpredicate : subpredicates) {
    if (!subpredicate) continue;  // rejected by joinedFormat, which may run after this
    arguments.insert(arguments.end(), subpredicate->arguments().begin(),
                     subpredicate->arguments().end());
  }
  return arguments;
}

}  // namespace

NSCompoundPredicate::NSCompoundPredicate(NSCompoundPredicateType type, Subpredicates subpredicates)
    : NSPredicate(joinedFormat(type, subpredicates), joinedArguments(subpredicates)),
      type_(type),
      subpredicates_(std::move(subpredicates)) {
  if (type_ != NSNotPredicateType && type_ != NSAndPredicateType && type_ != NSOrPredicateType) {
    throw std::invalid_argument("NSCompoundPredicate: unknown type " +
                                std::to_string(static_cast<NSUInteger>(type_)));
  }
}

std::shared_ptr<const NSCompoundPredicate> NSCompoundPredicate::andPredicateWithSubpredicates(
    Subpredicates subpredicates) {
  return std::make_shared<const NSCompoundPredicate>(NSAndPredicateType, std::move(subpredicates));
}

std::shared_ptr<const NSCompoundPredicate> NSCompoundPredicate::orPredicateWithSubpredicates(
    Subpredicates subpredicates) {
  return std::make_shared<const NSCompoundPredicate>(NSOrPredicateType, std::move(subpredicates));
}

std::shared_ptr<const NSCompoundPredicate> NSCompoundPredicate::notPredicateWithSubpredicate(
    std::shared_ptr<const NSPredicate> subpredicate) {
  return std::make_shared<const NSCompoundPredicate>(NSNotPredicateType,
                                                     Subpredicates{std::move(subpredicate)});
}

bool NSCompoundPredicate::evaluateWithObject(const NSObject& object) const {
  switch (type_) {
    case NSNotPredicateType:
      return !subpredicates_.front()->evaluateWithObject(object);
    case NSAndPredicateType:
      for (const auto& subpredicate : subpredicates_) {
        if (!subpredicate->evaluateWithObject(object)) return false;
      }
      return true;
    case NSOrPredicateType:
      for (const auto& subpredicate : subpredicates_) {
        if (subpredicate->evaluateWithObject(object)) return true;
      }
      return false;
  }
  return false;
}
