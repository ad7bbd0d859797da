#pragma once

// Replay: the `replay --export PATH` command. A person's Health app export is lived through
// again on a simulated iPhone: the app is installed at `since` (what HealthKit received before is
// in it already, as on a real phone, and the app's first launch runs its historical fetch), then
// the clock moves hour by hour to `until`. Each object reaches HealthKit when the phone received
// it, at its creation date (else its end date; ReplayTimeline), through the store of the app
// that wrote it (a correlation or a workout as one object); background delivery wakes the
// engine as it would on a phone; the phone is in the background from 23:00 to 07:00 local time
// and the user opens the app each morning at 07:00 (fetchLatestData). With `lockedNights` the
// phone is also locked through those hours, so the wakes find HealthKit's protected data
// inaccessible, and the morning open unlocks it. The app acts a minute after each hour's saves,
// never at the instant of a save. Days are counted in the person's zone (ExportTimeZone).
//
// At the end it prints, besides the outbox, what became of each type's objects (ReplayReport)
// and what the outbox's day records miss against HealthKit's own statistics (OutboxMisses).
//
// Restart: ReplayPosition beside the database names the hour last begun. Started again on the
// same database, the replay rebuilds HealthKit as the killed run left it (the same objects saved
// in the same order, so the anchors the app stored still hold), relaunches the app at that hour
// and goes on.
//
// Main thread only; one at a time per process (it owns a SimulatedPhone). The bench drives it in
// steps: prepare(), then liveUntil() for the span it measures.
//
//   Replay replay({.exportPath = "export.zip", .databasePath = "replay.sqlite"});
//   int status = replay.run(std::cout, std::cerr);  // 0, 1 when the work failed, 2 bad options

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "AppleHealthExport/AppleHealthExportSummary.h"
#include "tools/OstrandTools/Common/Progress.h"
#include "tools/OstrandTools/Common/SimulatedPhone.h"
#include "tools/OstrandTools/Replay/OutboxMisses.h"
#include "tools/OstrandTools/Replay/RecordWriteTimes.h"
#include "tools/OstrandTools/Replay/ReplayPosition.h"
#include "tools/OstrandTools/Replay/ReplayReport.h"
#include "tools/OstrandTools/Replay/ReplayTimeline.h"

namespace ostrand_tools {

struct ReplayOptions {
  std::string exportPath{};    // export.zip, the extracted folder or its export.xml
  std::string databasePath{};  // continued when it holds this replay's position, else replaced
  std::string since{};         // "" (six months before the export), "all", or YYYY-MM-DD
  std::string until{};         // "" (when the export was made) or YYYY-MM-DD (through that day)
  std::string timeZone{};      // --time-zone; empty: TZ, else the export's own zone
  std::optional<std::string> processTimeZone{};  // what TZ says
  bool terminal = false;                         // draw progress bars
  bool lockedNights = false;                     // the phone is locked from 23:00 to 07:00
  bool json = false;  // what the outbox misses as one JSON line instead of a table
  // Opens the session's store on the database (default: SQLite). Tests wrap it to die at a
  // chosen write.
  std::function<std::unique_ptr<OSTStore>(const std::string& path)> openStore{};
};

class Replay {
 public:
  explicit Replay(ReplayOptions options);
  ~Replay();

  // The whole command: prepare, live to the end, print the summary and the outbox.
  int run(std::ostream& out, std::ostream& err);

  // Checks the options, reads the export, chooses the zone and installs the app at `since` (or
  // relaunches it where a killed replay stopped). 0, 1 when the work failed, 2 bad options.
  int prepare(std::ostream& out, std::ostream& err);
  // Lives hour by hour up to `end` (rounded up to the replay's next hour, at most `until`);
  // false when saving or the position failed.
  bool liveUntil(NSDate end, std::ostream& out, std::ostream& err);

  NSDate since() const { return since_; }
  NSDate until() const { return until_; }
  // Compares the outbox's day records with HealthKit now (unlocking the phone).
  OutboxMisses outboxMisses(const Records& records) const;
  // Observer-query calls in the background so far (HealthKit waking the app).
  std::size_t backgroundWakes() const;
  std::size_t morningFetches() const { return morningFetches_; }
  SimulatedPhone& phone() { return *phone_; }

 private:
  int checkOptions(std::ostream& err);
  bool readExport(std::ostream& out, std::ostream& err);
  bool chooseSpan(std::ostream& err);
  bool launch(std::ostream& out, std::ostream& err);
  bool installFresh(std::ostream& out, std::ostream& err);
  bool installApp(std::ostream& err);
  bool rebuildUntil(NSDate hour, std::ostream& err);
  // Saves what ended before `moment` and has not been saved, up to `until`.
  bool saveEndedBefore(NSDate moment, std::ostream& err);
  bool begin(NSDate hour, std::ostream& err);
  void setAppStateFor(NSDate moment);
  bool isNight(NSDate moment) const;
  std::unique_ptr<OSTStore> openStore() const;
  void printArrivals(std::ostream& out) const;
  void liveHour(NSDate hour);
  std::optional<NSDate> dayOption(const std::string& text) const;
  // What became of each type's objects, for the summary.
  ReplayedTypes replayedTypes(const Records& records) const;

  ReplayOptions options_;
  std::unique_ptr<SimulatedPhone> phone_;
  ReplayTimeline timeline_;
  AppleHealthExportSummary summary_;
  ReplayTimeline::Counts atInstall_, whileRunning_;
  NSDate since_, until_;
  ReplayPosition position_;
  std::shared_ptr<RecordWriteMoments> writeMoments_ = std::make_shared<RecordWriteMoments>();
  std::size_t morningFetches_ = 0;
};

}  // namespace ostrand_tools
