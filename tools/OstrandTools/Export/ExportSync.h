#pragma once

// ExportSync: the `sync --export PATH` command. A real person's Health app export is read into a
// fresh simulated iPhone as each app wrote it, the clock is set just after the export was made,
// and the phone is set to the person's zone (ExportTimeZone), and the app's life cycle runs on it:
// start the session, subscribe to every set, fetch the latest data in the foreground and run the
// historical fetch of every set. Prints the reader's summary (what was stored, skipped and unknown)
// and what was synced.
//
//   ExportSync sync({.exportPath = "export.zip", .databasePath = "sync.sqlite"});
//   int status = sync.run(std::cout, std::cerr);  // 0, or 1 when the work failed

#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "AppleHealthExport/AppleHealthExportSummary.h"
#include "tools/OstrandTools/Common/SimulatedPhone.h"

namespace ostrand_tools {

struct ExportSyncOptions {
  std::string exportPath{};    // export.zip, the extracted folder or its export.xml
  std::string databasePath{};  // replaced once the export has been read
  std::string timeZone{};      // --time-zone; empty: TZ, else the export's own zone
  std::optional<std::string>
      processTimeZone{};  // what TZ says (Environment::processTimeZoneSetting)
  bool terminal = false;  // draw progress bars
};

class ExportSync {
 public:
  explicit ExportSync(ExportSyncOptions options);
  int run(std::ostream& out, std::ostream& err);

 private:
  // Reads the export into the phone and sets the phone to the person's zone.
  bool readExport(std::ostream& out, std::ostream& err);
  bool syncAsTheApp(std::ostream& out, std::ostream& err);

  ExportSyncOptions options_;
  std::unique_ptr<SimulatedPhone> phone_;
  AppleHealthExportSummary summary_;
};

}  // namespace ostrand_tools
