#include "tools/OstrandTools/Export/ExportSync.h"

#include <filesystem>

#include "tools/OstrandTools/Export/ExportLoading.h"
#include "tools/OstrandTools/Export/ExportTimeZone.h"

namespace ostrand_tools {

ExportSync::ExportSync(ExportSyncOptions options)
    : options_(std::move(options)),
      phone_(std::make_unique<SimulatedPhone>(NSDate::dateWithTimeIntervalSince1970(0))) {}

bool ExportSync::readExport(std::ostream& out, std::ostream& err) {
  auto summary = loadExport(options_.exportPath, options_.terminal, phone_->device(), out, err);
  if (!summary) return false;
  summary_ = std::move(*summary);
  return useExportTimeZone(*phone_, summary_, options_.timeZone, options_.processTimeZone, out,
                           err);
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
  if (!readExport(out, err)) return 1;
  // Only an export that was read replaces the database.
  std::error_code ignored;
  std::filesystem::remove(options_.databasePath, ignored);
  if (!syncAsTheApp(out, err)) return 1;
  return phone_->reportOutbox(options_.databasePath, out, err);
}

}  // namespace ostrand_tools
