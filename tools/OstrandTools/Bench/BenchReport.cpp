#include "tools/OstrandTools/Bench/BenchReport.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "tools/OstrandTools/Bench/BenchFormat.h"

namespace ostrand_tools {

namespace {

// `part` as a percentage of `whole`.
std::string shareText(double part, double whole) {
  char text[32];
  std::snprintf(text, sizeof text, "%.0f%%", whole > 0 ? part / whole * 100 : 0);
  return text;
}

double ratio(double cost, double baselineCost) {
  return baselineCost > 0 ? cost / baselineCost : 0;
}

}  // namespace

void BenchReport::addConversion(const std::vector<BenchConversionResult>& results, int runs) {
  std::size_t samples = 0;
  for (const auto& result : results) {
    samples = result.samples;
    table_.add({"conversion: " + std::string(OSTRecordTypeName(result.kind)),
                rateText(static_cast<double>(result.samples), result.convertSeconds, "samples"),
                "plain structs",
                rateText(static_cast<double>(result.samples), result.plainSeconds, "samples"),
                ratio(result.convertSeconds, result.plainSeconds)});
  }
  table_.addNote(
      "conversion: " + countText(static_cast<double>(samples)) +
      " samples of each kind, every subscribed type of it, as the anchored fetch reads them, "
      "made into records by recordsForHealthKitSamples (the fetch's own call); baseline: their "
      "dates, values (no unit conversion), UUID string, source, device and metadata copied into "
      "plain structs. Median of " +
      countOf(static_cast<std::size_t>(runs), "run") + ".");
}

void BenchReport::addOutbox(const BenchOutboxResult& result, std::size_t batchSize, int runs) {
  const auto records = static_cast<double>(result.records);
  table_.add({"outbox commit, " + std::to_string(batchSize) + " a batch",
              rateText(records, result.sessionSeconds, "records"), "plain SQLite upsert",
              rateText(records, result.rawSeconds, "records"),
              ratio(result.sessionSeconds, result.rawSeconds)});
  table_.addNote(
      "outbox: " + countText(records) +
      " records through OSTSession::submitRecords (JSON encoding, one transaction a batch) on a "
      "fresh database; baseline: the same rows, already encoded, INSERT OR REPLACE with the "
      "sqlite3 API into the same table, one transaction a batch. Both WAL with synchronous=FULL, "
      "in the system's temporary directory. Median of " +
      countOf(static_cast<std::size_t>(runs), "run") + ".");
}

void BenchReport::addHistory(const BenchHistoryResult& result, int days, std::size_t samples,
                             double historyBytes) {
  // CPU against CPU: HealthKit's queries run on worker threads, and others share the cores.
  table_.add(
      {"historical fetch, 6 months",
       durationText(result.cpuSeconds) + " CPU, " + durationText(result.wallSeconds) + " wall",
       "HealthKit's own queries", durationText(result.simulatorQuerySeconds) + " CPU",
       ratio(result.cpuSeconds, result.simulatorQuerySeconds)});
  table_.add({"historical fetch, peak RSS growth",
              mebibytesText(static_cast<double>(result.peakGrowthBytes)),
              "simulator holding the history", mebibytesText(historyBytes),
              ratio(static_cast<double>(result.peakGrowthBytes), historyBytes)});
  table_.addNote(
      "historical fetch: a heavy user (steps every minute from iPhone and Watch, heart rate every "
      "five minutes, a run a day; " +
      std::to_string(days) + " days, " + countText(static_cast<double>(samples)) +
      " objects) subscribed to every set; the fetch of every set gave " +
      countText(static_cast<double>(result.records)) +
      " records. Of the process's CPU time during the fetch, HealthKit's queries took " +
      shareText(result.simulatorQuerySeconds, result.cpuSeconds) +
      " (CPU the simulator's worker threads spent answering them, outside the app's handlers).");
  table_.addNote(std::string("peak RSS growth: VmHWM after the fetch minus VmRSS before it") +
                 (result.peakWasReset
                      ? " (VmHWM reset just before the fetch)"
                      : " (VmHWM could not be reset: the peak since the process started)") +
                 "; baseline: RSS growth while the simulator stored the history.");
}

void BenchReport::addWake(const BenchWakeResult& result, int runs) {
  table_.add({"background wake, an hour of data", durationText(result.latencySeconds),
              "same records straight to session", durationText(result.straightSeconds),
              ratio(result.latencySeconds, result.straightSeconds)});
  table_.add({"wake, the engine's own CPU", durationText(result.engineSeconds),
              "same records straight to session", durationText(result.straightSeconds),
              ratio(result.engineSeconds, result.straightSeconds)});
  table_.addNote(
      "background wake: " + countText(static_cast<double>(result.objects)) +
      " objects of the last hour (the heavy user's minutes and one object of every subscribed "
      "type), from HealthKit's first background call of an observer to the end of the last "
      "outbox commit: " +
      countText(static_cast<double>(result.records)) + " records in " +
      countText(static_cast<double>(result.commits)) + " outbox commits, and " +
      countText(result.sessionDataSaves) +
      " session-data saves that changed something. Baseline: those records, in the same "
      "batches, submitted to a session on a fresh database. The engine's own CPU: the main "
      "thread's, where the engine's handlers, conversion, session and SQLite run (HealthKit "
      "saves and answers queries on its own threads). Process CPU per wake " +
      durationText(result.cpuSeconds) + ", of which HealthKit's queries " +
      shareText(result.simulatorQuerySeconds, result.cpuSeconds) + ". Median of " +
      countOf(static_cast<std::size_t>(runs), "wake") + ".");
}

void BenchReport::addReplay(const BenchReplayResult& result) {
  table_.add({"replay, " + countOf(static_cast<std::size_t>(result.days), "day") + " hour by hour",
              rateText(static_cast<double>(result.wakes), result.replaySeconds, "wakes"),
              "its objects stored, no app", durationText(result.storeSeconds),
              ratio(result.replaySeconds, result.storeSeconds)});
  table_.addNote("replay: a generated export of " + countText(static_cast<double>(result.objects)) +
                 " objects replayed with --since all: " + countText(result.hours) +
                 " hours lived in " + durationText(result.replaySeconds) +
                 " (the app's first launch not counted), " +
                 countText(static_cast<double>(result.wakes)) +
                 " background wakes and a morning fetch a day; baseline: the same export read into "
                 "a fresh simulated device, with no app.");
}

void BenchReport::addExportRead(const BenchExportReadResult& result) {
  const double objects = static_cast<double>(result.objects);
  const double bytes = static_cast<double>(result.bytes);
  table_.add({"export written, " + mebibytesText(bytes), durationText(result.writeSeconds),
              "plain expat pass", durationText(result.expatSeconds),
              ratio(result.writeSeconds, result.expatSeconds)});
  table_.add({"export read, " + mebibytesText(bytes), durationText(result.readSeconds),
              "plain expat pass", durationText(result.expatSeconds),
              ratio(result.readSeconds, result.expatSeconds)});
  table_.add({"export stored, heap held per object", countText(result.heldBytes / objects) + " B",
              "its XML per object", countText(bytes / objects) + " B",
              ratio(result.heldBytes, bytes)});
  table_.add({"export stored, peak while reading per object",
              countText(result.peakGrowthBytes / objects) + " B", "its XML per object",
              countText(bytes / objects) + " B", ratio(result.peakGrowthBytes, bytes)});
  table_.addNote(
      "export: a generated export.xml of " + mebibytesText(bytes) + " (" + countText(objects) +
      " records, correlations and workouts over " +
      countOf(static_cast<std::size_t>(result.days), "day") + " of an Apple Watch wearer, " +
      countText(objects / result.days) +
      " a day, from a phone, a watch and four apps), written by the bench's generator, then read "
      "by the export reader into a sink that drops each object; baseline: expat over the same "
      "file with handlers that do nothing. Stored: the same export read into a fresh simulated "
      "device in " +
      durationText(result.storeSeconds) + "; peak RSS growth " +
      mebibytesText(result.peakGrowthBytes) +
      (result.peakWasReset ? "" : " (VmHWM could not be reset: the peak since the start)") +
      " (with the reader's set of the UUIDs it has seen); heap held by the device once the "
      "reader is gone " +
      mebibytesText(result.heldBytes) + ".");
}

void BenchReport::addReplayYear(const BenchReplayYearResult& result,
                                const BenchExportReadResult& read) {
  table_.add({"replay of the export since " + result.since,
              rateText(static_cast<double>(result.wakes), result.replaySeconds, "wakes"),
              "whole export stored, no app", durationText(read.storeSeconds),
              ratio(result.replaySeconds, read.storeSeconds)});
  table_.add({"replay of the export, peak RSS growth", mebibytesText(result.peakGrowthBytes),
              "export stored, no app", mebibytesText(read.peakGrowthBytes),
              ratio(result.peakGrowthBytes, read.peakGrowthBytes)});
  table_.addNote(
      "replay of the export: --since " + result.since +
      " (a year before the export, or its "
      "first day), the earlier days saved into HealthKit before the app's install; reading the "
      "export and the first launch took " +
      durationText(result.prepareSeconds) + ", then " + countText(result.hours) +
      " hours lived in " + durationText(result.replaySeconds) + " (" +
      durationText(result.replaySeconds / std::max(result.hours, 1.0)) + " an hour), " +
      countText(static_cast<double>(result.wakes)) +
      " background wakes. Peak RSS growth: VmHWM at the end minus VmRSS before reading" +
      (result.peakWasReset ? "" : " (VmHWM could not be reset: the peak since the start)") +
      "; baseline: the whole export stored into a fresh simulated device.");
}

void BenchReport::addRunPeak(double peakBytes, double exportBytes) {
  table_.add({"the whole run, peak RSS", mebibytesText(peakBytes), "generated export's XML",
              mebibytesText(exportBytes), ratio(peakBytes, exportBytes)});
  table_.addNote(
      "the whole run: the process's highest resident size (VmHWM) from its start, "
      "across the resets of the measurements above; baseline: the size of the "
      "generated export it read and replayed (none: 0).");
}

BenchReport::BenchReport() {
  table_.addNote(
      "Ratio: the measurement's cost over its baseline's (time; memory for the RSS row).");
}

void BenchReport::print(std::ostream& out) const { table_.print(out); }

}  // namespace ostrand_tools
