#include "tools/OstrandTools/Replay/ReplayRecordOrigins.h"

#include <unordered_set>

namespace ostrand_tools {

void countObjectFates(const ReplayTimeline::ReleasedObjects& saved,
                      const Records& records, const std::set<NSUUID>& handed, NSDate since,
                      ReplayedTypes& types) {
  std::unordered_set<std::string> identifiers;
  for (const auto& record : records) {
    if (auto identifier = record->activityID()) identifiers.insert(*identifier);
  }
  for (const auto& object : saved) {
    types.records[*object.type] += identifiers.count(object.uuid.UUIDString());
    if (handed.count(object.uuid) != 0) {
      ++types.handed[*object.type];
    } else if (object.arrival < since) {
      ++types.neverHandedBeforeSince[*object.type];
    } else {
      ++types.neverHanded[*object.type];
    }
  }
}

}  // namespace ostrand_tools
