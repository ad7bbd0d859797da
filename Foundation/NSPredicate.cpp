#include "Foundation/NSPredicate.h"

#include "Foundation/internal/PredicateFormatParser.h"

namespace {

class ConstantPredicate final : public NSPredicate {
 public:
  explicit ConstantPredicate(bool value)
      : NSPredicate(value ? "TRUEPREDICATE" : "FALSEPREDICATE", {}), value_(value) {}
  bool evaluateWithObject(const NSObject&) const override { return value_; }

 private:
  bool value_;
};

// Keeps the format and arguments as given and evaluates the tree they were parsed into.
class FormatPredicate final : public NSPredicate {
 public:
  FormatPredicate(std::string format, std::vector<NSAny> arguments,
                  std::shared_ptr<const NSPredicate> parsed)
      : NSPredicate(std::move(format), std::move(arguments)), parsed_(std::move(parsed)) {}
  bool evaluateWithObject(const NSObject& object) const override {
    return parsed_->evaluateWithObject(object);
  }

 private:
  std::shared_ptr<const NSPredicate> parsed_;
};

}  // namespace

NSPredicate::NSPredicate(std::string format, std::vector<NSAny> arguments)
    : format_(std::move(format)), arguments_(std::move(arguments)) {}

std::shared_ptr<const NSPredicate> NSPredicate::predicateWithFormat(const std::string& format,
                                                                    std::vector<NSAny> arguments) {
  auto parsed = platform::internal::parsePredicateFormat(format, arguments);
  return std::make_shared<const FormatPredicate>(format, std::move(arguments), std::move(parsed));
}

std::shared_ptr<const NSPredicate> NSPredicate::predicateWithValue(bool value) {
  return std::make_shared<const ConstantPredicate>(value);
}

std::string NSPredicate::predicateFormat() const {
  return platform::internal::renderPredicateFormat(format_, arguments_);
}
