#include "AppleHealthExport/internal/ExportDates.h"

#include <cstring>

#include "AppleHealthExport/internal/ExportValues.h"

namespace apple_health_export {

std::optional<NSDate> ExportDates::dateFor(std::string_view text) {
  // Only a text of a date's length can be one.
  if (text.size() != kTextBytes) return parseExportDate(text);
  for (const Entry& entry : entries_) {
    if (entry.used && std::memcmp(entry.text.data(), text.data(), kTextBytes) == 0) {
      return entry.date;
    }
  }
  Entry& entry = entries_[next_];
  next_ = (next_ + 1) % entries_.size();
  std::memcpy(entry.text.data(), text.data(), kTextBytes);
  entry.date = parseExportDate(text);
  entry.used = true;
  return entry.date;
}

}  // namespace apple_health_export
