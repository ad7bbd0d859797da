#include "tools/OstrandTools/Bench/Bench.h"

#include <filesystem>

#include "tools/OstrandTools/Bench/BenchExportWriter.h"
#include "tools/OstrandTools/Bench/BenchHeavyUserPhone.h"
#include "tools/OstrandTools/Bench/BenchProcessUsage.h"
#include "tools/OstrandTools/Bench/BenchReplayYear.h"
#include "tools/OstrandTools/Bench/BenchStopwatch.h"

namespace ostrand_tools {

namespace {

// A fixed "now" for the conversion phone: the dates do not matter to the conversion.
NSDate conversionMoment() { return NSDate::dateWithTimeIntervalSince1970(1718366400.0); }

// `count` records spread evenly over all of them, so that every kind is among them.
BenchOutbox::Records spreadOver(const BenchOutbox::Records& records, std::size_t count) {
  if (records.size() <= count) return records;
  BenchOutbox::Records chosen;
  for (std::size_t i = 0; i < count; ++i) chosen.push_back(records[i * records.size() / count]);
  return chosen;
}

}  // namespace

Bench::Bench(BenchOptions options)
    : options_(options),
      sizes_(options.quick ? Sizes{60, 1, 60, 20, 1, 2, 1} : Sizes{10000, 5, 10000, 100, 5, 0, 5}) {
}

int Bench::run(std::ostream& out, std::ostream& err) {
  std::ostream silent(nullptr);
  Progress progress(options_.terminal ? out : silent, options_.terminal);
  try {
    const BenchScratchDirectory scratch;
    if (!measureHeavyUser(scratch, progress, err) ||
        !measureConversionAndOutbox(scratch, progress, err)) {
      return 1;
    }
    report_.addHistory(heavyUser_.history, heavyUser_.days, heavyUser_.objects,
                       heavyUser_.historyBytes);
    report_.addWake(heavyUser_.wake, sizes_.wakes);
    if (!measureReplay(scratch, progress, err) || !measureExportRead(scratch, progress, err)) {
      return 1;
    }
  } catch (const std::exception& error) {
    err << "error: " << error.what() << "\n";
    return 1;
  }
  if (options_.terminal) out << "\n";
  report_.addRunPeak(static_cast<double>(BenchProcessUsage::runPeakResidentBytes()), exportBytes_);
  report_.print(out);
  return 0;
}

bool Bench::measureHeavyUser(const BenchScratchDirectory& scratch, Progress& progress,
                             std::ostream& err) {
  BenchHeavyUserPhone phone(scratch);
  const int days = sizes_.historyDays > 0 ? sizes_.historyDays : phone.daysOfSixMonths();
  const auto residentBefore = static_cast<double>(BenchProcessUsage::residentBytes());
  if (!phone.liveHistory(days, progress, err)) return false;
  const double historyBytes =
      static_cast<double>(BenchProcessUsage::residentBytes()) - residentBefore;
  if (!phone.install(err)) return false;

  progress.start("Fetching the history and waking the app", 2);
  const auto history = BenchHistory::measure(phone, err);
  if (!history) return false;
  progress.update(1);
  const auto wake = BenchWake(sizes_.wakes, scratch).measure(phone, err);
  if (!wake) return false;
  progress.finish();
  heavyUser_ = {*history, *wake, days, phone.historyObjects(), historyBytes};
  return true;
}

bool Bench::measureReplay(const BenchScratchDirectory& scratch, Progress& progress,
                          std::ostream& err) {
  progress.start("Replaying a month of a generated export", 1);
  const auto result = BenchReplayMonth(scratch, options_.quick ? 1 : 30).measure(err);
  if (!result) return false;
  progress.finish();
  report_.addReplay(*result);
  return true;
}

bool Bench::measureExportRead(const BenchScratchDirectory& scratch, Progress& progress,
                              std::ostream& err) {
  if (!options_.quick && options_.exportBytes == 0) return true;
  progress.start("Writing, reading and replaying a generated export", 3);
  const std::string path = scratch.file("generated-export.xml");
  BenchStopwatch stopwatch;
  const auto written = options_.quick ? BenchExportWriter::writeDays(path, 1)
                                      : BenchExportWriter::write(path, options_.exportBytes);
  const double writeSeconds = stopwatch.seconds();
  if (!written) {
    err << "error: cannot write the generated export " << path << "\n";
    return false;
  }
  progress.update(1);
  auto read = BenchExportRead(path, *written).measure(err);
  if (!read) return false;
  read->writeSeconds = writeSeconds;
  exportBytes_ = static_cast<double>(written->bytes);
  progress.update(2);
  const auto year = BenchReplayYear(scratch, path, *written).measure(err);
  std::filesystem::remove(path);
  if (!year) return false;
  progress.finish();
  report_.addExportRead(*read);
  report_.addReplayYear(*year, *read);
  return true;
}

bool Bench::measureConversionAndOutbox(const BenchScratchDirectory& scratch, Progress& progress,
                                       std::ostream& err) {
  progress.start("Converting samples and committing records", 2);
  SimulatedPhone phone(conversionMoment());
  BenchConversion conversion(sizes_.samplesPerKind, sizes_.conversionRuns);
  if (!conversion.prepare(phone, err)) return false;
  report_.addConversion(conversion.measure(), sizes_.conversionRuns);
  progress.update(1);

  const auto records = spreadOver(conversion.records(), sizes_.outboxRecords);
  const auto outbox =
      BenchOutbox(records, sizes_.outboxBatch, sizes_.outboxRuns, scratch).measure(err);
  if (!outbox) return false;
  report_.addOutbox(*outbox, sizes_.outboxBatch, sizes_.outboxRuns);
  progress.finish();
  return true;
}

}  // namespace ostrand_tools
