#include "Foundation/NSSortDescriptor.h"

NSSortDescriptor::NSSortDescriptor(std::string key, bool ascending)
    : key_(std::move(key)), ascending_(ascending) {}

std::shared_ptr<const NSSortDescriptor> NSSortDescriptor::sortDescriptorWithKey(std::string key,
                                                                                bool ascending) {
  return std::make_shared<const NSSortDescriptor>(std::move(key), ascending);
}

NSComparisonResult NSSortDescriptor::compareObject(const NSObject& first,
                                                   const NSObject& second) const {
  const NSAny a = first.valueForKeyPath(key_);
  const NSAny b = second.valueForKeyPath(key_);
  NSComparisonResult order = NSOrderedSame;
  if (auto compared = a.compare(b)) {
    order = *compared;
  } else {
    // Unorderable values go first; two of them are the same.
    const bool aOrderable = a.compare(a).has_value();
    const bool bOrderable = b.compare(b).has_value();
    if (aOrderable != bOrderable) order = aOrderable ? NSOrderedDescending : NSOrderedAscending;
  }
  if (!ascending_) order = static_cast<NSComparisonResult>(-static_cast<long>(order));
  return order;
}

std::string NSSortDescriptor::description() const {
  return "(" + key_ + ", " + (ascending_ ? "ascending" : "descending") + ")";
}
