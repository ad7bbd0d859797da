#pragma once

// ExportDates: parseExportDate with a memory of the last few dates read. The records of one
// moment share their start and end dates, and a record's end date is read twice (for the zone
// evidence, then for the sample), so most dates are read before.
//
// Driven by the reader's one thread.
//
//   ExportDates dates;
//   std::optional<NSDate> start = dates.dateFor(attributes.value("startDate"));

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "Foundation/NSDate.h"

namespace apple_health_export {

class ExportDates {
 public:
  // As parseExportDate(text).
  std::optional<NSDate> dateFor(std::string_view text);

 private:
  static constexpr std::size_t kTextBytes = 25;  // "2019-12-29 10:12:31 +0200"
  struct Entry {
    std::array<char, kTextBytes> text{};
    std::optional<NSDate> date;
    bool used = false;
  };

  std::array<Entry, 4> entries_;
  std::size_t next_ = 0;  // the entry the next new date replaces
};

}  // namespace apple_health_export
