#include "HealthKit/HKQuantity.h"

#include <charconv>
#include <stdexcept>

namespace {

std::string numberText(double value) {
  char text[32];
  auto [end, error] = std::to_chars(text, text + sizeof text, value);
  return error == std::errc() ? std::string(text, end) : std::string("nan");
}

}  // namespace

HKQuantity::Pointer HKQuantity::quantityWithUnit(HKUnit::Pointer unit, double value) {
  if (!unit) throw std::invalid_argument("HKQuantity: unit must not be null");
  return Pointer(new HKQuantity(std::move(unit), value));
}

bool HKQuantity::isCompatibleWithUnit(const HKUnit& unit) const {
  return unit_->dimension_ == unit.dimension_;
}

double HKQuantity::doubleValueForUnit(const HKUnit& unit) const {
  if (!isCompatibleWithUnit(unit)) {
    throw std::invalid_argument("HKQuantity: cannot convert " + description() + " to " +
                                unit.unitString() + ": incompatible units");
  }
  if (unit_->isEqual(unit)) return value_;
  return unit_->convertedValue(value_, unit);
}

NSComparisonResult HKQuantity::compare(const HKQuantity& other) const {
  if (!isCompatibleWithUnit(*other.unit_)) {
    throw std::invalid_argument("HKQuantity: cannot compare " + description() + " with " +
                                other.description() + ": incompatible units");
  }
  const double mine = value_;
  const double theirs = other.doubleValueForUnit(*unit_);
  if (mine < theirs) return NSOrderedAscending;
  if (mine > theirs) return NSOrderedDescending;
  return NSOrderedSame;
}

std::optional<NSComparisonResult> HKQuantity::compare(const NSObject& other) const {
  const auto* quantity = dynamic_cast<const HKQuantity*>(&other);
  if (quantity == nullptr || !isCompatibleWithUnit(*quantity->unit_)) return std::nullopt;
  return compare(*quantity);
}

bool HKQuantity::isEqual(const NSObject& other) const { return compare(other) == NSOrderedSame; }

std::size_t HKQuantity::hash() const {
  std::size_t result = 0;
  for (long exponent : unit_->dimension_) result = result * 31 + static_cast<std::size_t>(exponent);
  return result;
}

std::string HKQuantity::description() const {
  const bool percent = unit_->unitString() == "%";
  return numberText(percent ? value_ * 100 : value_) + " " + unit_->unitString();
}
