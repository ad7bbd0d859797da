#include "Foundation/NSArray.h"

#include <algorithm>
#include <stdexcept>
#include <string>

std::shared_ptr<const NSArray> NSArray::arrayWithArray(std::vector<NSAny> values) {
  return std::make_shared<const NSArray>(std::move(values));
}

const NSAny& NSArray::objectAtIndex(std::size_t index) const {
  if (index >= values_.size()) {
    throw std::out_of_range("NSArray: index " + std::to_string(index) + " beyond bounds of " +
                            std::to_string(values_.size()) + " values");
  }
  return values_[index];
}

bool NSArray::containsObject(const NSAny& value) const {
  return std::any_of(values_.begin(), values_.end(),
                     [&](const NSAny& element) { return element.isEqual(value); });
}

bool NSArray::isEqual(const NSObject& other) const {
  const auto* array = dynamic_cast<const NSArray*>(&other);
  return array &&
         std::equal(values_.begin(), values_.end(), array->values_.begin(), array->values_.end(),
                    [](const NSAny& a, const NSAny& b) { return a.isEqual(b); });
}

std::string NSArray::description() const {
  std::string text = "{";
  for (std::size_t i = 0; i < values_.size(); ++i) {
    if (i) text += ", ";
    text += values_[i].description();
  }
  return text + "}";
}
