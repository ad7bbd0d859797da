#include "tools/OstrandTools/Replay/ReplayTimeline.h"

#include <algorithm>
#include <deque>

#include "Foundation/Platform/DispatchRuntime.h"
#include "tools/OstrandTools/Common/SimulatedPhone.h"

namespace ostrand_tools {

namespace {

constexpr double kLate = 3600;  // an object that arrives later than this after it ended is late
constexpr std::size_t kBatch = 20000;  // objects unpacked and saved at once

}  // namespace

void ReplayTimeline::add(const HKSourceRevision::Pointer& revision,
                         std::shared_ptr<const HKObject> object,
                         std::optional<NSDate> creationDate) {
  const auto* sample = dynamic_cast<const HKSample*>(object.get());
  if (!sample) return;
  auto [index, added] = sourceIndex_.try_emplace(revision->description(), sources_.size());
  if (added) sources_.push_back({revision, nullptr});
  entries_.push_back({creationDate.value_or(sample->endDate()), packed_.pack(*sample),
                      static_cast<std::uint32_t>(index->second),
                      static_cast<std::uint32_t>(entries_.size()), creationDate.has_value()});
}

void ReplayTimeline::remove(const NSUUID& uuid) { removed_.insert(uuid); }

void ReplayTimeline::finish() {
  if (!removed_.empty()) {
    std::erase_if(entries_, [this](const Entry& entry) {
      const NSUUID uuid = entry.row.uuid;
      return removed_.count(uuid) != 0;
    });
    removed_.clear();
  }
  // Sorted in place: a stable sort would want a buffer as large as the entries.
  std::sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) {
    if (a.arrival != b.arrival) return a.arrival < b.arrival;
    return a.readingOrder < b.readingOrder;
  });
  for (const auto& entry : entries_) {
    ++readByType_[packed_.typeIdentifier(entry.row)];
    withCreationDate_ += entry.hasCreationDate;
    const double end = entry.row.end;
    arrivedLate_ += entry.arrival.timeIntervalSinceDate(
                        NSDate::dateWithTimeIntervalSinceReferenceDate(end)) > kLate;
  }
  if (!entries_.empty()) firstArrival_ = entries_.front().arrival;
}

std::optional<NSDate> ReplayTimeline::firstArrival() const { return firstArrival_; }

std::optional<NSDate> ReplayTimeline::nextArrival() const {
  if (entries_.empty()) return std::nullopt;
  return entries_.front().arrival;
}

bool ReplayTimeline::releaseBefore(NSDate moment, platform::SimulatedHealthDevice& device,
                                   Counts& released, std::string& error) {
  return release(moment, false, device, released, error);
}

bool ReplayTimeline::releaseThrough(NSDate end, platform::SimulatedHealthDevice& device,
                                    Counts& released, std::string& error) {
  return release(end, true, device, released, error);
}

bool ReplayTimeline::release(NSDate bound, bool boundIncluded,
                             platform::SimulatedHealthDevice& device, Counts& released,
                             std::string& error) {
  // Everything released here reaches HealthKit at the same moment, so the app must find all of
  // it when it wakes: it runs only once HealthKit has saved and announced every app's objects.
  // Were it let in between, its fetch after one app's save would count as made after the
  // others' too, and the next fetch, which reaches back only an hour before that one, would miss
  // the start of another app's sample that began before that hour. Objects are unpacked and
  // saved a batch at a time (years of them reach HealthKit at the install), each batch waiting
  // for HealthKit, so only one batch is ever held whole.
  std::deque<Refusal> refusals;  // stays where it is while HealthKit's workers write to it
  for (;;) {
    auto bySource = unpackBatch(bound, boundIncluded, released);
    if (bySource.empty()) break;
    for (auto& [index, objects] : bySource) {
      auto& source = sources_[index];
      if (!source.store) source.store = device.storeForSource(source.revision);
      auto& refusal = refusals.emplace_back(Refusal{index, nullptr});
      source.store->saveObjects(
          objects, [&refusal](bool, auto failure) { refusal.failure = std::move(failure); });
    }
    platform::DispatchRuntime::shared().waitForWorkers();
  }
  SimulatedPhone::runUntilIdle();
  for (const auto& refusal : refusals) {
    if (refusal.failure) {
      error = sources_[refusal.source].revision->description() +
              " could not save: " + refusal.failure->localizedDescription();
      return false;
    }
  }
  return true;
}

std::map<std::size_t, std::vector<std::shared_ptr<const HKObject>>> ReplayTimeline::unpackBatch(
    NSDate bound, bool boundIncluded, Counts& released) {
  // Each app saves its own objects, in time order; apps in the order they were first read.
  std::map<std::size_t, std::vector<std::shared_ptr<const HKObject>>> bySource;
  for (std::size_t taken = 0; !entries_.empty() && taken < kBatch; ++taken) {
    const auto& entry = entries_.front();
    if (boundIncluded ? bound < entry.arrival : !(entry.arrival < bound)) break;
    const auto counted = readByType_.find(packed_.typeIdentifier(entry.row));
    ++released[counted->first];
    released_.push_back({entry.row.uuid, &counted->first, entry.arrival});
    bySource[entry.source].push_back(packed_.unpack(entry.row));
    entries_.pop_front();  // gives back each block of entries once it is released
  }
  return bySource;
}

}  // namespace ostrand_tools
