// ostrand-healthkit: the library at work on a simulated iPhone, from the command line.

#include <malloc.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>
#include <string>

#include "Foundation/Platform/PlatformEnvironment.h"
#include "OstrandCore/OSTLog.h"
#include "tools/OstrandTools/Bench/Bench.h"
#include "tools/OstrandTools/Common/Progress.h"
#include "tools/OstrandTools/Demo/Demo.h"
#include "tools/OstrandTools/Export/ExportSync.h"
#include "tools/OstrandTools/Outbox/OutboxCommand.h"
#include "tools/OstrandTools/Replay/Replay.h"

namespace {

constexpr char kExitCodes[] =
    "Exit status: 0 success, 1 the work failed (unreadable database or export, refused data), "
    "2 bad usage.";

int runDemo(const ostrand_tools::DemoOptions& options, int months, bool small) {
  auto chosen = options;
  chosen.days = small ? 7 : months * 30;
  chosen.terminal = ostrand_tools::Progress::isTerminal(stdout);
  ostrand_tools::Demo demo(chosen);
  return demo.run(std::cout, std::cerr);
}

// The simulated HealthKit saves on its worker threads what then lives for the whole run (years
// of a person's samples in a replay), while the reader and the app allocate and free on theirs.
// glibc would give each thread an arena of its own, and what one thread freed could not serve
// another's saves: a replay of millions of objects held about half again what it used. One arena
// keeps the process to what it holds, for about a tenth more time.
void useOneHeapArena() {
#ifdef __GLIBC__
  mallopt(M_ARENA_MAX, 1);
#endif
}

}  // namespace

int main(int argc, char** argv) {
  useOneHeapArena();
  CLI::App app{"Syncs a person's HealthKit data into Ostrand records on a simulated iPhone."};
  app.footer(kExitCodes);
  app.require_subcommand(1);

  ostrand_tools::DemoOptions demoOptions;
  demoOptions.databasePath = "ostrand-demo.sqlite";
  int months = 3;
  bool small = false;
  auto* demo =
      app.add_subcommand("demo", "Simulate a person's months and sync them as the app would");
  demo->footer(kExitCodes);
  demo->add_option("--seed", demoOptions.seed, "Seed of the simulated person")
      ->capture_default_str();
  demo->add_option("--months", months, "Months of history")
      ->check(CLI::Range(1, 24))
      ->capture_default_str();
  demo->add_option("--database", demoOptions.databasePath, "Session database to write (replaced)")
      ->capture_default_str();
  demo->add_flag("--small", small, "A week instead of months (quick)");

  ostrand_tools::ExportSyncOptions syncOptions;
  syncOptions.databasePath = "ostrand-sync.sqlite";
  auto* sync = app.add_subcommand(
      "sync", "Load a Health app export into the simulator and sync it as the app would");
  sync->footer(kExitCodes);
  sync->add_option("--export", syncOptions.exportPath,
                   "export.zip, the extracted folder or its export.xml")
      ->required()
      ->check(CLI::ExistingPath);
  sync->add_option("--database", syncOptions.databasePath, "Session database to write (replaced)")
      ->capture_default_str();
  sync->add_option("--time-zone", syncOptions.timeZone,
                   "Zone the person's days are counted in (default: TZ, else the export's zone)");

  ostrand_tools::ReplayOptions replayOptions;
  replayOptions.databasePath = "ostrand-replay.sqlite";
  auto* replay = app.add_subcommand(
      "replay", "Live through a Health app export hour by hour, as the app on that phone would");
  replay->footer(
      std::string(
          "The app is installed at --since (earlier data is in HealthKit already; its first "
          "launch runs the historical fetch), then lives hour by hour: each object arrives "
          "when the phone received it (its creationDate, else its end date), HealthKit wakes "
          "the app hourly, the user opens it at 07:00. At the end it prints what the outbox's "
          "day records miss against what HealthKit holds.\n"
          "Started again on the same database, a replay goes on where it stopped.\n") +
      kExitCodes);
  replay
      ->add_option("--export", replayOptions.exportPath,
                   "export.zip, the extracted folder or its export.xml")
      ->required()
      ->check(CLI::ExistingPath);
  replay->add_option("--since", replayOptions.since,
                     "Day the app is installed (YYYY-MM-DD, or 'all' for the first sample's; "
                     "default: six months before the export)");
  replay->add_option("--until", replayOptions.until,
                     "Last day lived (YYYY-MM-DD; default: until the export was made)");
  replay
      ->add_option("--database", replayOptions.databasePath,
                   "Session database (continued when it holds this replay, else replaced)")
      ->capture_default_str();
  replay->add_option("--time-zone", replayOptions.timeZone,
                     "Zone the person's days are counted in (default: TZ, else the export's zone)");
  replay->add_flag("--locked-nights", replayOptions.lockedNights,
                   "The phone is locked from 23:00 until the 07:00 open: night wakes find "
                   "HealthKit's protected data inaccessible");
  replay->add_flag("--json", replayOptions.json,
                   "Print what the outbox misses as one JSON line instead of a table");

  std::string outboxPath;
  bool json = false;
  auto* outbox = app.add_subcommand("outbox", "List what a session database's outbox holds");
  outbox->footer(kExitCodes);
  outbox->add_option("PATH", outboxPath, "Session database")->required();
  outbox->add_flag("--json", json, "One JSON record a line");

  ostrand_tools::BenchOptions benchOptions;
  auto* bench = app.add_subcommand(
      "bench", "Time the library's work against baselines measured in the same run");
  bench->footer(
      std::string("Prints one table: record conversion per kind, outbox commits, a heavy user's "
                  "six-month historical fetch (time, HealthKit's share, peak memory), a "
                  "background wake and a month of replay, each beside its baseline, with the "
                  "ratio of their costs. Run it from a release build; it takes about a minute.\n") +
      kExitCodes);
  bench->add_flag("--quick", benchOptions.quick,
                  "Tiny sizes, a few seconds: checks that every measurement works");
  std::uint64_t exportMegabytes = 0;
  bench->add_option("--export-size", exportMegabytes,
                    "Also write, read and replay the last year of a generated export of about "
                    "this many MiB (a watch wearer's 6,000 objects a day: 4096 is four and a half "
                    "years; takes tens of minutes and GBs of memory)");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const int status = app.exit(error);
    return status == 0 ? 0 : 2;
  }
  // The library's own log is for developers; errors (level 0) still show.
  OSTLog::setLevel(0);
  if (*demo) return runDemo(demoOptions, months, small);
  if (*bench) {
    benchOptions.terminal = ostrand_tools::Progress::isTerminal(stdout);
    benchOptions.exportBytes = exportMegabytes << 20;
    return ostrand_tools::Bench(benchOptions).run(std::cout, std::cerr);
  }
  if (*replay) {
    replayOptions.terminal = ostrand_tools::Progress::isTerminal(stdout);
    replayOptions.processTimeZone = platform::Environment::processTimeZoneSetting();
    return ostrand_tools::Replay(replayOptions).run(std::cout, std::cerr);
  }
  if (*sync) {
    syncOptions.terminal = ostrand_tools::Progress::isTerminal(stdout);
    syncOptions.processTimeZone = platform::Environment::processTimeZoneSetting();
    return ostrand_tools::ExportSync(syncOptions).run(std::cout, std::cerr);
  }
  return ostrand_tools::runOutbox(outboxPath, json, std::cout, std::cerr);
}
