#include "tools/OstrandTools/Replay/RecordWriteTimes.h"

namespace ostrand_tools {

OSTStatus RecordWriteTimes::addToOutbox(const std::vector<OSTOutboxRow>& rows) {
  auto status = store_->addToOutbox(rows);
  if (status) return status;
  const NSDate now = NSDate::date();
  for (const auto& row : rows) {
    if (row.activityID) (*moments_)[*row.activityID] = now;
  }
  return status;
}

}  // namespace ostrand_tools
