#include "tools/OstrandTools/Export/ExportLoading.h"

#include <functional>

#include "AppleHealthExport/AppleHealthExportReader.h"
#include "tools/OstrandTools/Common/Progress.h"
#include "tools/OstrandTools/Export/ExportTimeZone.h"

namespace ostrand_tools {

namespace {

std::size_t total(const std::map<std::string, std::size_t>& counts) {
  std::size_t sum = 0;
  for (const auto& [name, count] : counts) sum += count;
  return sum;
}

void printCountsOf(std::ostream& out, const char* title,
                   const std::map<std::string, std::size_t>& counts) {
  if (counts.empty()) return;
  out << title << " (" << total(counts) << "):\n";
  for (const auto& [name, count] : counts) out << "  " << name << "  " << count << "\n";
}

// Runs `read` with a progress bar over the file's bytes, then checks and reports what it gave.
std::optional<AppleHealthExportSummary> loadWith(
    const std::string& path, bool terminal, std::ostream& out, std::ostream& err,
    const std::function<AppleHealthExportSummary(AppleHealthExportReader&)>& read) {
  AppleHealthExportReader reader;
  Progress progress(out, terminal);
  bool started = false;
  reader.setProgressHandler([&](std::uint64_t done, std::uint64_t all) {
    if (!started) progress.start("Reading " + path, all);
    started = true;
    progress.update(done);
  });
  AppleHealthExportSummary summary = read(reader);
  if (started) progress.finish();
  if (summary.error) {
    err << "error: " << summary.error->description() << "\n";
    return std::nullopt;
  }
  printExportSummary(out, summary);
  if (!summary.exportedAt) {
    err << "error: " << path
        << ": the export does not say when it was made (no readable <ExportDate>)\n";
    return std::nullopt;
  }
  return summary;
}

}  // namespace

void printExportSummary(std::ostream& out, const AppleHealthExportSummary& summary) {
  out << "Read " << summary.totalSamples() << " samples, " << summary.totalCorrelations()
      << " correlations and " << summary.totalWorkouts() << " workouts from "
      << summary.objectsBySource.size() << " sources\n";
  printCountsOf(out, "Skipped", summary.skipped);
  printCountsOf(out, "Types this HealthKit does not have", summary.unknownTypes);
  printCountsOf(out, "Units no unit reads from", summary.unknownUnits);
}

std::optional<AppleHealthExportSummary> loadExport(
    const std::string& path, bool terminal,
    const std::shared_ptr<platform::SimulatedHealthDevice>& device, std::ostream& out,
    std::ostream& err) {
  return loadWith(path, terminal, out, err,
                  [&](AppleHealthExportReader& reader) { return reader.read(path, device); });
}

std::optional<AppleHealthExportSummary> loadExport(const std::string& path, bool terminal,
                                                   AppleHealthExportSink& sink, std::ostream& out,
                                                   std::ostream& err) {
  return loadWith(path, terminal, out, err,
                  [&](AppleHealthExportReader& reader) { return reader.read(path, sink); });
}

bool useExportTimeZone(SimulatedPhone& phone, const AppleHealthExportSummary& summary,
                       const std::string& option, const std::optional<std::string>& processSetting,
                       std::ostream& out, std::ostream& err) {
  const auto chosen = chooseExportTimeZone(summary, option, processSetting);
  if (!chosen.zone) {
    err << "error: " << chosen.error << "\n";
    return false;
  }
  phone.setTimeZone(chosen.zone);
  out << "Time zone: " << chosen.zone->name() << " (" << chosen.source << ")\n";
  return true;
}

}  // namespace ostrand_tools
