#include "tools/OstrandTools/Bench/BenchWake.h"

#include <string>

#include "OstrandCore/OSTRecordCoder.h"
#include "tools/OstrandTools/Bench/BenchOutbox.h"
#include "tools/OstrandTools/Bench/BenchProcessUsage.h"
#include "tools/OstrandTools/Bench/BenchStopwatch.h"

namespace ostrand_tools {

namespace {

constexpr double kHour = 3600;

using Invocations = std::vector<platform::SimulatedHealthDevice::ObserverInvocation>;

// When HealthKit first woke the app among the invocations after `mark`.
std::optional<std::chrono::steady_clock::time_point> firstBackgroundCall(
    const Invocations& invocations, std::size_t mark) {
  std::optional<std::chrono::steady_clock::time_point> first;
  for (std::size_t i = mark; i < invocations.size(); ++i) {
    if (invocations[i].inBackground && (!first || invocations[i].calledAt < *first)) {
      first = invocations[i].calledAt;
    }
  }
  return first;
}

std::size_t rowCount(const std::vector<std::vector<OSTOutboxRow>>& batches) {
  std::size_t count = 0;
  for (const auto& rows : batches) count += rows.size();
  return count;
}

}  // namespace

std::optional<BenchWakeResult> BenchWake::measure(BenchHeavyUserPhone& phone,
                                                  std::ostream& err) const {
  phone.phone().enterBackground();
  phone.store().setKeepingRows(true);
  const std::size_t savesBefore = phone.store().sessionDataSaves();
  BenchWakeResult result;
  const bool woke = wakeRepeatedly(phone, result, err);
  phone.store().setKeepingRows(false);
  if (!woke) return std::nullopt;
  result.sessionDataSaves =
      static_cast<double>(phone.store().sessionDataSaves() - savesBefore) / runs_;
  return result;
}

bool BenchWake::wakeRepeatedly(BenchHeavyUserPhone& phone, BenchWakeResult& result,
                               std::ostream& err) const {
  std::vector<double> latencies, straight, records, commits, engine;
  for (int run = 0; run < runs_; ++run) {
    const auto wake = wakeOnce(phone, result.objects, err);
    if (!wake) return false;
    const auto straightSeconds = submitStraight(wake->batches, run, err);
    if (!straightSeconds) return false;
    latencies.push_back(wake->latencySeconds);
    straight.push_back(*straightSeconds);
    records.push_back(static_cast<double>(rowCount(wake->batches)));
    commits.push_back(static_cast<double>(wake->batches.size()));
    engine.push_back(wake->engineSeconds);
    result.cpuSeconds += wake->cpuSeconds / runs_;
    result.simulatorQuerySeconds += wake->querySeconds / runs_;
  }
  result.latencySeconds = BenchStopwatch::median(latencies);
  result.straightSeconds = BenchStopwatch::median(straight);
  result.records = static_cast<std::size_t>(BenchStopwatch::median(records));
  result.commits = static_cast<std::size_t>(BenchStopwatch::median(commits));
  result.engineSeconds = BenchStopwatch::median(engine);
  return true;
}

std::optional<BenchWake::Wake> BenchWake::wakeOnce(BenchHeavyUserPhone& phone, std::size_t& objects,
                                                   std::ostream& err) {
  auto& simulated = phone.phone();
  simulated.clock().advance(kHour);
  const NSDate now = simulated.clock().now();
  BenchWrites writes;
  phone.writesForRange(now.dateByAddingTimeInterval(-kHour), now, writes);
  objects = writes.count();

  const std::size_t invocationMark = simulated.device()->observerInvocations().size();
  const std::size_t commitMark = phone.store().commitCount();
  const auto cpuBefore = BenchProcessUsage::cpuTime();
  const auto queriesBefore = simulated.device()->queryAnswerTime();
  const auto mainThreadBefore = BenchProcessUsage::threadCpuTime();
  if (!writes.save(err)) return std::nullopt;
  Wake wake;
  wake.engineSeconds = (BenchProcessUsage::threadCpuTime() - mainThreadBefore).count();
  wake.cpuSeconds = (BenchProcessUsage::cpuTime() - cpuBefore).count();
  wake.querySeconds =
      std::chrono::duration<double>(simulated.device()->queryAnswerTime() - queriesBefore).count();
  const auto firstCall =
      firstBackgroundCall(simulated.device()->observerInvocations(), invocationMark);
  const auto commits = phone.store().commitsSince(commitMark);
  if (!firstCall || commits.empty()) {
    err << "error: HealthKit did not wake the app, or the wake committed no record\n";
    return std::nullopt;
  }
  for (const auto& commit : commits) wake.batches.push_back(commit.rows);
  wake.latencySeconds = BenchStopwatch::secondsBetween(*firstCall, commits.back().finishedAt);
  return wake;
}

std::optional<double> BenchWake::submitStraight(const Batches& batches, int run,
                                                std::ostream& err) const {
  std::vector<std::vector<std::shared_ptr<OSTRecord>>> records;
  for (const auto& rows : batches) {
    auto& batch = records.emplace_back();
    for (const auto& row : rows) batch.push_back(OSTRecordCoder::recordFromJSON(row.json).value);
  }
  return BenchOutbox::timeSubmissions(
      records, scratch_.file("wake-straight-" + std::to_string(run) + ".sqlite"), err);
}

}  // namespace ostrand_tools
