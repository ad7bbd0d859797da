#include "OstrandHealthKit/OSTCachedValue.h"

#include <vector>

namespace {

struct ResetRegistry {
  std::mutex mutex;  // guards resets
  std::vector<std::function<void()>> resets;
};

// Never destroyed, like the caches that register with it.
ResetRegistry& registry() {
  static auto* const shared = new ResetRegistry();
  return *shared;
}

}  // namespace

void ost_detail::registerCachedValueReset(std::function<void()> reset) {
  std::lock_guard lock(registry().mutex);
  registry().resets.push_back(std::move(reset));
}

void OSTResetCachedValuesForTesting() {
  std::vector<std::function<void()>> resets;
  {
    std::lock_guard lock(registry().mutex);
    resets = registry().resets;
  }
  for (const auto& reset : resets) reset();
}
