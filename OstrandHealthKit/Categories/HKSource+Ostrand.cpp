#include <regex>
#include <utility>
#include <vector>

#include "HealthKit/UIKit/UIDevice.h"
#include "OstrandHealthKit/Categories/HKSource+Ostrand.h"
#include "OstrandHealthKit/OSTCachedValue.h"

namespace {

// Canonical name and its pattern, in the order they are tried.
using SourceNamePatterns = std::vector<std::pair<std::string, std::regex>>;

std::shared_ptr<const SourceNamePatterns> sourceNamePatterns() {
  static auto* const cache = new OSTCachedValue<SourceNamePatterns>();
  return cache->get([] {
    constexpr auto kOptions = std::regex::ECMAScript | std::regex::icase;
    return SourceNamePatterns{
        {"iPhone", std::regex("iPhone", kOptions)},
        {"Apple Watch", std::regex("Apple.+Watch", kOptions)},
        {"iPod touch", std::regex("iPod.+touch", kOptions)},
    };
  });
}

}  // namespace

std::string sanitizedNameForSourceName(std::string_view name) {
  for (const auto& [canonical, pattern] : *sourceNamePatterns()) {
    if (std::regex_search(name.begin(), name.end(), pattern)) return canonical;
  }
  return std::string(name);
}

std::string sanitizedName(const HKSource& source) {
  return sanitizedNameForSourceName(source.name());
}

bool isCurrentDevice(const HKSource& source) {
  return source.name() == UIDevice::currentDevice()->name();
}
