#include "tools/OstrandTools/ExportSync.h"

#include <filesystem>

#include "AppleHealthExport/AppleHealthExportReader.h"
#include "tools/OstrandTools/ExportTimeZone.h"
#include "tools/OstrandTools/Progress.h"

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

}  // namespace

void printExportSummary(std::ostream& out, const AppleHealthExportSummary& summary) {
  out << "Read " << summary.totalSamples() << " samples, " << summary.totalCorrelations()
      << " correlations and " << summary.totalWorkouts() << " workouts from "
      << summary.objectsBySource.size() << " sources\n";
  printCountsOf(out, "Skipped", summary.skipped);
  printCountsOf(out, "Types this HealthKit does not have", summary.unknownTypes);
  printCountsOf(out, "Units no unit reads from", summary.unknownUnits);
}

ExportSync::ExportSync(ExportSyncOptions options)
    : options_(std::move(options)),
      phone_(std::make_unique<SimulatedPhone>(NSDate::dateWithTimeIntervalSince1970(0))) {}

bool ExportSync::readExport(std::ostream& out, std::ostream& err) {
  AppleHealthExportReader reader;
  Progress progress(out, options_.terminal);
  bool started = false;
  reader.setProgressHandler([&](std::uint64_t done, std::uint64_t all) {
    if (!started) progress.start("Reading " + options_.exportPath, all);
    started = true;
    progress.update(done);
  });
  summary_ = reader.read(options_.exportPath, phone_->device());
  if (started) progress.finish();
  if (summary_.error) {
    err << "error: " << summary_.error->description() << "\n";
    return false;
  }
  printExportSummary(out, summary_);
  if (!summary_.exportedAt) {
    err << "error: " << options_.exportPath
        << ": the export does not say when it was made (no readable <ExportDate>)\n";
    return false;
  }
  return true;
}

bool ExportSync::chooseTimeZone(std::ostream& out, std::ostream& err) {
  const auto chosen = chooseExportTimeZone(summary_, options_.timeZone, options_.processTimeZone);
  if (!chosen.zone) {
    err << "error: " << chosen.error << "\n";
    return false;
  }
  phone_->setTimeZone(chosen.zone);
  out << "Time zone: " << chosen.zone->name() << " (" << chosen.source << ")\n";
  return true;
}

bool ExportSync::syncAsTheApp(std::ostream& out, std::ostream& err) {
  // The app is installed a minute after the export was made, on the phone that made it.
  phone_->clock().set(summary_.exportedAt->dateByAddingTimeInterval(60));
  return phone_->install(options_.databasePath, err) && phone_->fetchLatestAndHistory(out, err);
}

int ExportSync::run(std::ostream& out, std::ostream& err) {
  if (!options_.timeZone.empty()) {
    if (auto named = timeZoneNamed(options_.timeZone, "--time-zone"); !named.zone) {
      err << "error: " << named.error << "\n";
      return 1;
    }
  }
  if (!readExport(out, err) || !chooseTimeZone(out, err)) return 1;
  // Only an export that was read replaces the database.
  std::error_code ignored;
  std::filesystem::remove(options_.databasePath, ignored);
  if (!syncAsTheApp(out, err)) return 1;
  return phone_->reportOutbox(options_.databasePath, out, err);
}

}  // namespace ostrand_tools
