#pragma once

// ExportTimeZone: which time zone a person's days are counted in when their export is synced or
// replayed. The first that applies wins:
//   - the zone named on the command line (--time-zone);
//   - the zone the process's TZ variable names;
//   - the HKTimeZone metadata the export's apps wrote (of several names, the one whose offsets
//     agree with the most dates; then the most frequent);
//   - the offsets the dates were written with: a fixed-offset zone when they never change,
//     otherwise the first named zone (alphabetically) whose offsets agree with every date.
// Whatever is chosen is stated with where it came from, so the user can tell and override it.
//
// Pure functions of their arguments; safe from any thread.
//
//   auto chosen = chooseExportTimeZone(summary, options.timeZone, options.processTimeZone);
//   if (!chosen.zone) { err << "error: " << chosen.error << "\n"; return 1; }
//   out << "Time zone: " << chosen.zone->name() << " (" << chosen.source << ")\n";

#include <memory>
#include <optional>
#include <string>

#include "AppleHealthExport/AppleHealthExportSummary.h"
#include "Foundation/NSTimeZone.h"

namespace ostrand_tools {

struct ChosenTimeZone {
  std::shared_ptr<NSTimeZone> zone;  // nullptr: `error` says why
  std::string source;                // "from the export's HKTimeZone metadata", ...
  std::string error;
};

// `option`: what --time-zone said (empty when absent). `processSetting`: the TZ variable's value
// (Environment::processTimeZoneSetting()). With neither and an export that shows no zone at all,
// the process's zone is used.
ChosenTimeZone chooseExportTimeZone(const AppleHealthExportSummary& summary,
                                    const std::string& option,
                                    const std::optional<std::string>& processSetting);

// A zone named on the command line, or an error saying the name is unknown.
ChosenTimeZone timeZoneNamed(const std::string& name, const std::string& source);

}  // namespace ostrand_tools
