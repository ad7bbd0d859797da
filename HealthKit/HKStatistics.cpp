#include "HealthKit/HKStatistics.h"

HKStatistics::HKStatistics(std::shared_ptr<const HKQuantityType> quantityType, NSDate startDate,
                           NSDate endDate, Values merged, std::vector<SourceValues> perSource)
    : quantityType_(std::move(quantityType)),
      startDate_(startDate),
      endDate_(endDate),
      merged_(std::move(merged)),
      perSource_(std::move(perSource)) {}

std::vector<std::shared_ptr<const HKSource>> HKStatistics::sources() const {
  std::vector<std::shared_ptr<const HKSource>> sources;
  sources.reserve(perSource_.size());
  for (const auto& entry : perSource_) sources.push_back(entry.source);
  return sources;
}

const HKStatistics::Values* HKStatistics::valuesFor(const HKSource& source) const {
  for (const auto& entry : perSource_) {
    if (entry.source->bundleIdentifier() == source.bundleIdentifier()) return &entry.values;
  }
  return nullptr;
}

HKQuantity::Pointer HKStatistics::sumQuantityForSource(const HKSource& source) const {
  const Values* values = valuesFor(source);
  return values ? values->sum : nullptr;
}

HKQuantity::Pointer HKStatistics::averageQuantityForSource(const HKSource& source) const {
  const Values* values = valuesFor(source);
  return values ? values->average : nullptr;
}

HKQuantity::Pointer HKStatistics::minimumQuantityForSource(const HKSource& source) const {
  const Values* values = valuesFor(source);
  return values ? values->minimum : nullptr;
}

HKQuantity::Pointer HKStatistics::maximumQuantityForSource(const HKSource& source) const {
  const Values* values = valuesFor(source);
  return values ? values->maximum : nullptr;
}

std::string HKStatistics::description() const {
  std::string text = "<HKStatistics " + quantityType_->identifier() + " " +
                     startDate_.description() + " - " + endDate_.description();
  if (merged_.sum) text += " sum " + merged_.sum->description();
  if (merged_.average) text += " average " + merged_.average->description();
  if (merged_.minimum) text += " min " + merged_.minimum->description();
  if (merged_.maximum) text += " max " + merged_.maximum->description();
  return text + ">";
}
