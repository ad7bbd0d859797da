#pragma once

// ExportLoading: what `sync --export` and `replay` both do first with a person's export. They read
// it with a progress bar, print the reader's summary and refuse an export that does not say when
// it was made, then set the phone to the zone its days are counted in and say which zone that is.
// Failures are written to `err` as one "error: ..." line each.
//
// Runs on the calling thread.
//
//   auto summary = loadExport("export.zip", /*terminal=*/true, phone.device(), std::cout,
//   std::cerr); if (!summary || !useExportTimeZone(phone, *summary, "", std::nullopt, std::cout,
//   std::cerr)) {
//     return 1;
//   }

#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "AppleHealthExport/AppleHealthExportSink.h"
#include "AppleHealthExport/AppleHealthExportSummary.h"
#include "tools/OstrandTools/Common/SimulatedPhone.h"

namespace ostrand_tools {

// Reads the export at `path` into `device`; nullopt when it could not be read or does not say when
// it was made.
std::optional<AppleHealthExportSummary> loadExport(
    const std::string& path, bool terminal,
    const std::shared_ptr<platform::SimulatedHealthDevice>& device, std::ostream& out,
    std::ostream& err);
// The same, handing each object to `sink` instead of storing it.
std::optional<AppleHealthExportSummary> loadExport(const std::string& path, bool terminal,
                                                   AppleHealthExportSink& sink, std::ostream& out,
                                                   std::ostream& err);

// Sets `phone` to the zone chooseExportTimeZone picks (`option`: --time-zone, `processSetting`:
// TZ) and prints "Time zone: <name> (<where it came from>)"; false when no zone could be chosen.
bool useExportTimeZone(SimulatedPhone& phone, const AppleHealthExportSummary& summary,
                       const std::string& option, const std::optional<std::string>& processSetting,
                       std::ostream& out, std::ostream& err);

// The reader's summary for a person: stored, skipped and unknown counts.
void printExportSummary(std::ostream& out, const AppleHealthExportSummary& summary);

}  // namespace ostrand_tools
