#pragma once

// NSSortDescriptor: how to order objects by the value at a key path, ascending or descending.
// HealthKit's sample query takes a list of them (HKSampleSortIdentifierStartDate...). Values
// compare as predicates compare them (NSAny::compare); values that cannot be ordered (nil, or of
// different kinds) sort before those that can, as Foundation puts nil first.
//
// Immutable and thread-safe; held by std::shared_ptr<const NSSortDescriptor>.
//
//   auto newestFirst = NSSortDescriptor::sortDescriptorWithKey("startDate", false);

#include <memory>
#include <string>

#include "Foundation/NSObject.h"

class NSSortDescriptor : public NSObject {
 public:
  NSSortDescriptor(std::string key, bool ascending);
  static std::shared_ptr<const NSSortDescriptor> sortDescriptorWithKey(std::string key,
                                                                       bool ascending);

  const std::string& key() const { return key_; }
  bool ascending() const { return ascending_; }

  // The order of the two objects by this descriptor (descending reverses it).
  NSComparisonResult compareObject(const NSObject& first, const NSObject& second) const;

  std::string description() const override;
  std::string className() const override { return "NSSortDescriptor"; }

 private:
  std::string key_;
  bool ascending_;
};
