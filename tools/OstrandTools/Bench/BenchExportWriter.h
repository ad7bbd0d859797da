#pragma once

// BenchExportWriter: writes a Health app export (export.xml) of about a given size, for the bench
// to read: a person with an iPhone and an Apple Watch, day after day from 2016 on, in
// Europe/Berlin. Every ten minutes the phone and the watch write steps, distance and active
// energy, the watch heart rate every five minutes (with its motion context) and basal energy
// each hour; each night brings sleep, each morning a weight from a scale app, each week a blood
// pressure reading (its correlation and its two members), every other day a run with its
// events. Dates carry the zone's offset of their moment and the phone's records HKTimeZone, as
// the Health app writes them.
//
// The same size always gives the same file. It is written as it goes, a day at a time; nothing
// of it is held in memory.
//
// Any thread; one writer per file.
//
//   auto written = BenchExportWriter::write("/tmp/export.xml", 1 << 30);  // objects, or nullopt

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace ostrand_tools {

class BenchExportWriter {
 public:
  struct Written {
    std::uint64_t bytes = 0;
    std::uint64_t objects = 0;  // records, correlations and workouts at the top level
    int days = 0;
  };

  // Writes days until the file holds at least `bytes`; nullopt when it cannot be written.
  static std::optional<Written> write(const std::string& path, std::uint64_t bytes);
  // Writes `days` days.
  static std::optional<Written> writeDays(const std::string& path, int days);

 private:
  // Writes days while `more(bytes written, days written)` says so.
  static std::optional<Written> write(const std::string& path,
                                      const std::function<bool(std::uint64_t, int)>& more);
};

}  // namespace ostrand_tools
