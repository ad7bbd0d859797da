#include "tools/OstrandTools/Bench/BenchExportWriter.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "tools/OstrandTools/Bench/BenchAppStreams.h"
#include "tools/OstrandTools/Bench/BenchPersonEvents.h"
#include "tools/OstrandTools/Bench/BenchVitalStreams.h"
#include "tools/OstrandTools/Bench/BenchWatchStreams.h"
#include "tools/OstrandTools/Bench/BenchWorkoutStreams.h"

namespace ostrand_tools {

namespace {

constexpr std::int64_t kFirstMidnight = 1451602800;  // 2016-01-01 00:00 in Berlin
constexpr std::int64_t kDay = 86400;
constexpr int kSampleDays = 7;

using Stream = std::function<void(const BenchPersonDay&)>;

// The person's streams, each class over the same output.
struct PersonStreams {
  BenchWatchStreams watch;
  BenchVitalStreams vitals;
  BenchAppStreams apps;
  BenchWorkoutStreams workouts;
  BenchPersonEvents events;
};

// The streams of workout metrics and walking metrics, each a type of its own.
void addMotionStreams(std::vector<Stream>& all, BenchWorkoutStreams& workouts) {
  using M = BenchWorkoutStreams::Metric;
  using Walk = BenchWorkoutStreams::WalkingMetric;
  for (const M metric :
       {M::runningPower, M::runningSpeed, M::runningStrideLength, M::runningVerticalOscillation,
        M::runningGroundContactTime, M::cyclingSpeed, M::cyclingCadence, M::physicalEffort}) {
    all.push_back([&workouts, metric](const auto& day) { workouts.during(day, metric); });
  }
  for (const Walk metric : {Walk::speed, Walk::stepLength, Walk::doubleSupport, Walk::asymmetry}) {
    all.push_back([&workouts, metric](const auto& day) { workouts.walking(day, metric); });
  }
  all.push_back([&workouts](const auto& day) { workouts.timeInDaylight(day); });
}

// The last records' streams, then the correlations, workouts and activity summaries.
void addClosingStreams(std::vector<Stream>& all, PersonStreams& person) {
  auto& [watch, vitals, apps, workouts, events] = person;
  all.insert(
      all.end(),
      {[&](const auto& day) { vitals.heartRateVariability(day); },
       [&](const auto& day) { vitals.sleep(day); }, [&](const auto& day) { watch.standHours(day); },
       [&](const auto& day) { events.bloodPressure(day); },
       [&](const auto& day) { events.meals(day); }, [&](const auto& day) { events.workout(day); },
       [&](const auto& day) { events.activitySummary(day); }});
}

// Every stream of the person, in the order their types appear in the file.
std::vector<Stream> streams(PersonStreams& person) {
  auto& [watch, vitals, apps, workouts, events] = person;
  using W = BenchAppStreams::Weighing;
  std::vector<Stream> all;
  for (const W measure : {W::bodyMassIndex, W::bodyFat, W::bodyMass, W::leanBodyMass}) {
    all.push_back([&apps, measure](const auto& day) { apps.scale(day, measure); });
  }
  for (const bool distance : {false, true}) {
    all.push_back([&watch, distance](const auto& day) { watch.steps(day, distance); });
    all.push_back([&apps, distance](const auto& day) { apps.phoneSteps(day, distance); });
  }
  all.insert(all.end(), {[&](const auto& day) { watch.basalEnergy(day); },
                         [&](const auto& day) { watch.activeEnergy(day); },
                         [&](const auto& day) { apps.flightsClimbed(day); }});
  for (int nutrient = 0; nutrient < BenchPersonEvents::kNutrients; ++nutrient) {
    all.push_back([&events, nutrient](const auto& day) { events.nutrientTwins(day, nutrient); });
  }
  all.insert(all.end(), {[&](const auto& day) { watch.heartRate(day); },
                         [&](const auto& day) { vitals.respiratoryRate(day); },
                         [&](const auto& day) { vitals.oxygenSaturation(day); },
                         [&](const auto& day) { events.bloodPressureTwin(day, true); },
                         [&](const auto& day) { events.bloodPressureTwin(day, false); },
                         [&](const auto& day) { apps.bloodGlucose(day); },
                         [&](const auto& day) { watch.exerciseTime(day); },
                         [&](const auto& day) { watch.environmentalAudio(day); },
                         [&](const auto& day) { apps.headphoneAudio(day); },
                         [&](const auto& day) { vitals.restingHeartRate(day); },
                         [&](const auto& day) { vitals.vo2Max(day); },
                         [&](const auto& day) { vitals.walkingHeartRate(day); },
                         [&](const auto& day) { watch.standTime(day); }});
  addMotionStreams(all, workouts);
  addClosingStreams(all, person);
  return all;
}

void writeHeader(BenchExportOutput& out, std::int64_t exportedAt) {
  out.text("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<HealthData locale=\"en_DE\">\n")
      .text(" <ExportDate value=\"")
      .date(exportedAt)
      .text(
          "\"/>\n <Me HKCharacteristicTypeIdentifierDateOfBirth=\"1988-04-12\" "
          "HKCharacteristicTypeIdentifierBiologicalSex=\"HKBiologicalSexFemale\" "
          "HKCharacteristicTypeIdentifierBloodType=\"HKBloodTypeAPositive\" "
          "HKCharacteristicTypeIdentifierFitzpatrickSkinType=\"HKFitzpatrickSkinTypeNotSet\" "
          "HKCharacteristicTypeIdentifierCardioFitnessMedicationsUse=\"None\"/>\n");
}

// Writes `days` days into `path` (empty: counted only).
std::optional<BenchExportWriter::Written> writeInto(const std::string& path, int days) {
  days = std::max(days, 1);
  const BenchExportZone zone(BenchExportWriter::kZone, kFirstMidnight - 2 * kDay,
                             kFirstMidnight + (days + 2) * kDay);
  std::vector<BenchPersonDay> plans;
  std::int64_t midnight = kFirstMidnight;
  for (int index = 0; index < days; ++index) {
    plans.push_back(BenchPersonDay::plan(zone, index, midnight));
    midnight = plans.back().nextMidnight;
  }
  const std::int64_t exportedAt = midnight + 12 * 3600;
  const BenchCreationDates created(kFirstMidnight, exportedAt);
  const BenchPersonSources sources(days / 365 + 1);
  BenchExportOutput out(path, zone);
  PersonStreams person{{out, created, sources},
                       {out, created, sources},
                       {out, created, sources},
                       {out, created, sources},
                       {out, created, sources}};
  writeHeader(out, exportedAt);
  for (const auto& stream : streams(person)) {
    for (const auto& day : plans) stream(day);
    if (!out.ok()) return std::nullopt;
  }
  out.text("</HealthData>\n");
  if (!out.close()) return std::nullopt;
  return BenchExportWriter::Written{out.bytes(), out.objects(), days,
                                    static_cast<double>(kFirstMidnight),
                                    static_cast<double>(exportedAt)};
}

}  // namespace

int BenchExportWriter::daysForBytes(std::uint64_t bytes) {
  const auto sample = writeInto("", kSampleDays);
  const double perDay = static_cast<double>(sample->bytes) / kSampleDays;
  return std::max(1, static_cast<int>(static_cast<double>(bytes) / perDay + 0.5));
}

std::optional<BenchExportWriter::Written> BenchExportWriter::write(const std::string& path,
                                                                   std::uint64_t bytes) {
  return writeInto(path, daysForBytes(bytes));
}

std::optional<BenchExportWriter::Written> BenchExportWriter::writeDays(const std::string& path,
                                                                       int days) {
  return writeInto(path, days);
}

}  // namespace ostrand_tools
