#include "HealthKit/HKQueryAnchor.h"

#include <charconv>
#include <string_view>

namespace {

// Archives are "HKQueryAnchor:" followed by the position in decimal, without sign or leading
// zeros, so that one anchor has exactly one archived form.
constexpr std::string_view kArchivePrefix = "HKQueryAnchor:";

}  // namespace

std::shared_ptr<const HKQueryAnchor> HKQueryAnchor::anchorFromValue(unsigned long value) {
  return std::shared_ptr<const HKQueryAnchor>(new HKQueryAnchor(value));
}

std::string HKQueryAnchor::archivedData() const {
  return std::string(kArchivePrefix) + std::to_string(value_);
}

std::shared_ptr<const HKQueryAnchor> HKQueryAnchor::anchorWithArchivedData(
    const std::string& data) {
  std::string_view text = data;
  if (!text.starts_with(kArchivePrefix)) return nullptr;
  text.remove_prefix(kArchivePrefix.size());
  if (text.empty() || (text.size() > 1 && text.front() == '0')) return nullptr;
  unsigned long value = 0;
  const char* end = text.data() + text.size();
  auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end) return nullptr;
  return anchorFromValue(value);
}

std::string HKQueryAnchor::description() const {
  return "<HKQueryAnchor " + std::to_string(value_) + ">";
}

bool HKQueryAnchor::isEqual(const NSObject& other) const {
  const auto* anchor = dynamic_cast<const HKQueryAnchor*>(&other);
  return anchor != nullptr && anchor->value_ == value_;
}

std::optional<NSComparisonResult> HKQueryAnchor::compare(const NSObject& other) const {
  const auto* anchor = dynamic_cast<const HKQueryAnchor*>(&other);
  if (anchor == nullptr) return std::nullopt;
  if (value_ < anchor->value_) return NSOrderedAscending;
  return value_ > anchor->value_ ? NSOrderedDescending : NSOrderedSame;
}
