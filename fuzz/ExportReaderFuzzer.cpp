// libFuzzer entry point for the export reader and the sync engine behind it. Every input is
// written to a scratch file (export.zip when it starts like a zip archive, export.xml otherwise)
// and then:
// 1. read into a fresh simulated device: the reader must return a summary, with or without an
//    error, for every input;
// 2. read again into a replay timeline (objects up to a day long, see ReplayableObjects), and
//    what the reader accepted is lived through on a fresh simulated phone whose app syncs into an
//    in-memory session: installed an hour before the first object arrives and subscribed to the
//    types the input holds, a few hours in the background with HealthKit waking it as objects
//    arrive, then opened in the foreground and once more the next day (day summaries). A value
//    the reader lets through must not make the engine throw: an exception escaping a HealthKit
//    callback ends the process, which the fuzzer reports.
// A crash, a hang, a leak or a sanitizer report is a finding.
//
// Built only by the `fuzz` preset (scripts/fuzz-export.sh); never part of the normal build.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "AppleHealthExport/AppleHealthExportReader.h"
#include "Foundation/Platform/SystemLog.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"
#include "OstrandCore/OSTLog.h"
#include "OstrandCore/OSTSQLiteStore.h"
#include "tools/OstrandTools/Common/SimulatedPhone.h"
#include "tools/OstrandTools/Replay/ReplayTimeline.h"

namespace {

constexpr double kHour = 3600;
// Hours lived in the background after the install; then the foreground, then the next day.
constexpr int kBackgroundHours = 4;
constexpr double kNextDay = 30 * kHour;
constexpr double kDay = 24 * kHour;

// One scratch directory per fuzzing process, removed at exit.
const std::string& scratchDirectory() {
  static const std::string directory = [] {
    std::string pattern = "/tmp/ost-export-fuzz-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    return pattern;
  }();
  return directory;
}

// Built after the directory's name (its constructor asks for it), so destroyed before it.
struct ScratchCleanup {
  ScratchCleanup() { (void)scratchDirectory(); }
  ~ScratchCleanup() {
    std::remove((scratchDirectory() + "/export.xml").c_str());
    std::remove((scratchDirectory() + "/export.zip").c_str());
    rmdir(scratchDirectory().c_str());
  }
};

// Small batches and tokens, so the saver's flushes and the token limit are reached by the small
// inputs the fuzzer works with.
AppleHealthExportReader smallReader() {
  AppleHealthExportReader reader;
  reader.setBatchSize(3);
  reader.setMaxTokenBytes(4096);
  return reader;
}

void readIntoDevice(const std::string& path) {
  auto device = platform::SimulatedHealthDevice::create();
  auto summary = smallReader().read(path, device);
  // An error must say where: the file it was reading, at least.
  if (summary.error && (summary.error->file.empty() || summary.error->message.empty())) {
    std::abort();
  }
  device->stopAllQueries();
}

// The phone the replay's command uses, its app synced into an in-memory session: a fresh device,
// clock and session per input, torn down before the next. The app subscribes only to the types
// the input holds, so an input costs what its own objects cost.
class FuzzPhone : public ostrand_tools::SimulatedPhone {
 public:
  explicit FuzzPhone(NSDate now) : SimulatedPhone(now) {
    if (startSession(":memory:", std::make_unique<OSTSQLiteStore>(":memory:"))) std::abort();
  }

  // Subscribes to every sample type the timeline read.
  void subscribe(const ostrand_tools::ReplayTimeline::Counts& read) {
    OSTSampleTypeArray types;
    for (const auto& [identifier, count] : read) {
      auto type = std::dynamic_pointer_cast<const HKSampleType>(
          HKObjectType::typeForIdentifier(identifier));
      if (type) types.push_back(std::move(type));
    }
    (void)SimulatedPhone::subscribe(types);
  }
  // Saves what ends by `now` as the apps would, and lets the app react.
  void liveUntil(ostrand_tools::ReplayTimeline& timeline, NSDate now) {
    clock().set(now);
    ostrand_tools::ReplayTimeline::Counts released;
    std::string error;
    // A store refusing an object is HealthKit's answer, not a finding; the rest is still lived.
    (void)timeline.releaseThrough(now, *device(), released, error);
    runUntilIdle();
  }
};

// Hands the timeline what the reader accepted, except objects longer than a day: HealthKit's
// minute statistics (the intraday fetch) spread a sample over every minute it covers, and a
// year-long sample costs seconds of that under the sanitizers, which the fuzzer would report as a
// timeout rather than find anything in the engine.
class ReplayableObjects final : public AppleHealthExportSink {
 public:
  explicit ReplayableObjects(ostrand_tools::ReplayTimeline& timeline) : timeline_(timeline) {}

  void add(const HKSourceRevision::Pointer& revision, std::shared_ptr<const HKObject> object,
           std::optional<NSDate> creationDate) override {
    const auto* sample = dynamic_cast<const HKSample*>(object.get());
    if (sample && sample->endDate().timeIntervalSinceDate(sample->startDate()) > kDay) return;
    timeline_.add(revision, std::move(object), creationDate);
  }
  void remove(const NSUUID& uuid) override { timeline_.remove(uuid); }

 private:
  ostrand_tools::ReplayTimeline& timeline_;
};

void replay(const std::string& path) {
  ostrand_tools::ReplayTimeline timeline;
  ReplayableObjects objects(timeline);
  (void)smallReader().read(path, objects);
  timeline.finish();
  const auto first = timeline.firstArrival();
  if (!first) return;

  const NSDate install = first->dateByAddingTimeInterval(-kHour);
  FuzzPhone phone(install);
  phone.subscribe(timeline.readByType());
  phone.enterBackground();
  for (int hour = 1; hour <= kBackgroundHours; ++hour) {
    phone.liveUntil(timeline, install.dateByAddingTimeInterval(hour * kHour));
  }
  phone.enterForeground();
  phone.fetchLatestData();
  phone.liveUntil(timeline, install.dateByAddingTimeInterval(kNextDay));
  phone.fetchLatestData();
}

}  // namespace

// The engine's and HealthKit's logging would cost more than the work it reports.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  OSTLog::setLevel(OSTLog::Error);
  platform::SystemLog::setSink([](const std::string&) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static ScratchCleanup cleanup;
  const bool zip = size >= 4 && data[0] == 'P' && data[1] == 'K' && data[2] == 3 && data[3] == 4;
  const std::string path = scratchDirectory() + (zip ? "/export.zip" : "/export.xml");
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) std::abort();
  if (size > 0 && std::fwrite(data, 1, size, file) != size) std::abort();
  std::fclose(file);

  readIntoDevice(path);
  replay(path);
  std::remove(path.c_str());
  return 0;
}
