#include "HealthKit/internal/ReadAccess.h"

#include <algorithm>
#include <iterator>

#include "HealthKit/internal/HKObjectAccess.h"

namespace platform::healthkit {

ReadAccess::ReadAccess(std::string reader, Permissions permissions)
    : limited_(true), reader_(std::move(reader)), permissions_(std::move(permissions)) {}

bool ReadAccess::seesType(const std::string& typeIdentifier, const std::string& owner) const {
  auto found = permissions_.find(typeIdentifier);
  if (found == permissions_.end()) return false;
  return found->second.read == true || (owner == reader_ && found->second.share == true);
}

bool ReadAccess::sees(const HKObject& object, const std::string& owner) const {
  if (!limited_) return true;
  if (const auto* correlation = dynamic_cast<const HKCorrelation*>(&object)) {
    const auto& members = correlation->objects();
    return std::any_of(members.begin(), members.end(), [&](const auto& member) {
      return seesType(member->sampleType()->identifier(), owner);
    });
  }
  const auto* sample = dynamic_cast<const HKSample*>(&object);
  return sample == nullptr || seesType(sample->sampleType()->identifier(), owner);
}

HKCorrelation::Pointer ReadAccess::withoutHidden(const HKCorrelation& correlation,
                                                 const std::string& owner) const {
  const auto& members = correlation.objects();
  const auto seen = [&](const auto& member) {
    return seesType(member->sampleType()->identifier(), owner);
  };
  if (std::all_of(members.begin(), members.end(), seen)) return nullptr;
  HKCorrelation::Objects kept;
  std::copy_if(members.begin(), members.end(), std::back_inserter(kept), seen);
  return HKObjectAccess::copyHolding(correlation, kept);
}

std::shared_ptr<const HKObject> ReadAccess::shown(const std::shared_ptr<const HKObject>& object,
                                                  const std::string& owner) const {
  if (!limited_) return object;
  if (const auto* correlation = dynamic_cast<const HKCorrelation*>(object.get())) {
    auto shownCorrelation = withoutHidden(*correlation, owner);
    return shownCorrelation ? shownCorrelation : object;
  }
  const auto* sample = dynamic_cast<const HKSample*>(object.get());
  if (sample == nullptr) return object;
  const auto holder = HKObjectAccess::correlationOf(*sample);
  if (!holder) return object;
  const auto shownHolder = withoutHidden(*holder, owner);
  if (!shownHolder) return object;
  for (const auto& member : shownHolder->objects()) {
    // The sample holds its correlation weakly, so the pointer handed over owns the correlation.
    if (member->isEqual(*object)) return std::shared_ptr<const HKObject>(shownHolder, member.get());
  }
  return object;
}

}  // namespace platform::healthkit
