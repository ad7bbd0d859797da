#pragma once

// NSArray: an immutable ordered list of values; the argument of a predicate's IN.
// Immutable, so thread-safe to share.
//
//   auto kinds = NSArray::arrayWithArray({"HKSourceA", "HKSourceB"});
//   NSPredicate::predicateWithFormat("sourceName IN %@", {kinds});

#include <cstddef>
#include <memory>
#include <vector>

#include "Foundation/NSObject.h"

class NSArray : public NSObject {
 public:
  using const_iterator = std::vector<NSAny>::const_iterator;

  NSArray() = default;
  explicit NSArray(std::vector<NSAny> values) : values_(std::move(values)) {}

  static std::shared_ptr<const NSArray> arrayWithArray(std::vector<NSAny> values);

  std::size_t count() const { return values_.size(); }
  // Throws std::out_of_range when index >= count().
  const NSAny& objectAtIndex(std::size_t index) const;
  // True when one of the values isEqual to the given one.
  bool containsObject(const NSAny& value) const;
  const std::vector<NSAny>& values() const { return values_; }
  const_iterator begin() const { return values_.begin(); }
  const_iterator end() const { return values_.end(); }

  // Equal when both hold equal values in the same order.
  bool isEqual(const NSObject& other) const override;
  std::size_t hash() const override { return values_.size(); }
  // "{1, 2, x}", as a predicate prints an array.
  std::string description() const override;
  std::string className() const override { return "NSArray"; }

 private:
  std::vector<NSAny> values_;
};
