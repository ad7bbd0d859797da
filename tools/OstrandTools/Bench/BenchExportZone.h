#pragma once

// BenchExportZone: the generated person's time zone, as the export writer needs it thousands of
// times a second: the offset of a moment, local midnights, and a moment written the way the
// Health app writes dates ("2016-03-27 03:10:00 +0200": the wall clock of the moment and its
// own offset). The zone's changes of offset within the covered span are looked up once, when
// it is made; after that nothing calls into Foundation.
//
// Immutable after construction; any thread.
//
//   BenchExportZone zone("Europe/Berlin", first, first + days * 86400);
//   char text[BenchExportZone::kDateLength];
//   zone.format(moment, text);

#include <cstdint>
#include <string>
#include <vector>

namespace ostrand_tools {

class BenchExportZone {
 public:
  static constexpr std::size_t kDateLength = 25;  // "YYYY-MM-DD HH:MM:SS +HHMM"

  // Looks up the offsets of `zoneName` from `from` to `to` (seconds since 1970). Throws
  // std::invalid_argument for an unknown zone.
  BenchExportZone(const std::string& zoneName, std::int64_t from, std::int64_t to);

  const std::string& name() const { return name_; }
  long offsetAt(std::int64_t moment) const;
  // Seconds since the local midnight before `moment`.
  long localSecondsOfDay(std::int64_t moment) const;
  // The local midnight after the local midnight `midnight` (23, 24 or 25 hours later).
  std::int64_t nextMidnight(std::int64_t midnight) const;
  // The moment the local clock shows `seconds` past the local midnight `midnight`.
  std::int64_t atLocalTime(std::int64_t midnight, long seconds) const;

  // Writes the moment's date, kDateLength characters and no terminator.
  void format(std::int64_t moment, char* out) const;
  // The local day of the moment: "2016-03-27".
  std::string dayText(std::int64_t moment) const;

 private:
  struct Change {
    std::int64_t at;  // the first second of the new offset
    long offset;
  };

  std::string name_;
  long firstOffset_ = 0;
  std::vector<Change> changes_;  // in time order
};

}  // namespace ostrand_tools
