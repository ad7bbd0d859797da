#include "tools/OstrandTools/Replay/Replay.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <regex>

#include "HealthKit/UIKit/UIApplication.h"
#include "OstrandCore/OSTSQLiteStore.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"
#include "tools/OstrandTools/Export/ExportLoading.h"
#include "tools/OstrandTools/Export/ExportTimeZone.h"
#include "tools/OstrandTools/Replay/ReplayRecordOrigins.h"
#include "tools/OstrandTools/Replay/ReplayReport.h"

namespace ostrand_tools {

namespace {

constexpr double kHour = 3600;
constexpr long kMorning = 7;  // the user opens the app
constexpr long kNight = 23;   // the phone is put away
// How long after each step of the replay the app acts on it. On a phone HealthKit calls
// observers and wakes the app a moment after the save that caused it. Here the objects of an
// hour reach HealthKit at the hour's step, the user opens the app (07:00) or puts it away
// (23:00) at the step, and the app's fetches, whether HealthKit woke it or the user opened it,
// run a moment later. Each object counts as saved when it arrives, so the step also saves those
// that arrive within the moment: when the app fetches, HealthKit holds exactly what arrived
// before that instant. An object that arrives as it ends then lies in the window read by end date
// up to the fetch's now, or in the next one, which starts there; one that arrives later than that
// is what the replay's report of what the outbox misses measures.
// The moment is one whole minute, because
// - query dates are stored cut to the minute: a fetch on a whole minute stores its own moment,
//   so the next window starts exactly where this one ended;
// - per-minute step counts are laid out from when the last fetch ran: on whole minutes they stay
//   on the clock's minutes, and a minute sent again has the same bounds (a fetch a few seconds
//   past the hour would shift every minute by those seconds);
// - the routine and intraday fetches run at most once a minute, counted from when the last one
//   began: the hours' fetches are an hour apart, a relaunch comes two minutes after the last
//   fetch (kRelaunchDelay), and the user's morning open shares the wake's moment, so it skips
//   nothing the wake did not fetch;
// - every moment follows from the hour alone and stays within it, so a relaunched replay finds
//   the same moments and saves the same objects in the same batches.
constexpr double kMoment = 60;
// A killed replay's app comes back two minutes after its last launch within the hour it was in
// (the first time, two minutes after the app's moment of that hour): past the fetches' one-minute
// guard, and on a whole minute, like kMoment.
constexpr double kRelaunchDelay = 120;
constexpr int kRelaunchesAHour = 29;  // later ones all come back at the last of these minutes

bool isDayText(const std::string& text) {
  static const std::regex day(R"(\d{4}-\d{2}-\d{2})");
  return std::regex_match(text, day);
}

}  // namespace

Replay::Replay(ReplayOptions options)
    : options_(std::move(options)),
      phone_(std::make_unique<SimulatedPhone>(NSDate::dateWithTimeIntervalSince1970(0))) {}

Replay::~Replay() = default;

int Replay::checkOptions(std::ostream& err) {
  if (!options_.since.empty() && options_.since != "all" && !isDayText(options_.since)) {
    err << "error: --since '" << options_.since << "' is neither a day (YYYY-MM-DD) nor 'all'\n";
    return 2;
  }
  if (!options_.until.empty() && !isDayText(options_.until)) {
    err << "error: --until '" << options_.until << "' is not a day (YYYY-MM-DD)\n";
    return 2;
  }
  if (!options_.timeZone.empty()) {
    if (auto named = timeZoneNamed(options_.timeZone, "--time-zone"); !named.zone) {
      err << "error: " << named.error << "\n";
      return 2;
    }
  }
  return 0;
}

bool Replay::readExport(std::ostream& out, std::ostream& err) {
  auto summary = loadExport(options_.exportPath, options_.terminal, timeline_, out, err);
  if (!summary) return false;
  summary_ = std::move(*summary);
  timeline_.finish();
  printArrivals(out);
  return useExportTimeZone(*phone_, summary_, options_.timeZone, options_.processTimeZone, out,
                           err);
}

void Replay::printArrivals(std::ostream& out) const {
  if (timeline_.withCreationDate() == 0) {
    out << "Objects reach HealthKit at their end date: the export gives no creation dates\n";
    return;
  }
  std::size_t objects = 0;
  for (const auto& [type, count] : timeline_.readByType()) objects += count;
  out << "Objects reach HealthKit at their creation date (" << timeline_.withCreationDate()
      << " of " << objects << " have one; the others at their end date); "
      << timeline_.arrivedLate() << " arrived more than an hour after they ended\n";
}

std::optional<NSDate> Replay::dayOption(const std::string& text) const {
  NSDateComponents day;
  day.setYear(std::stol(text.substr(0, 4)));
  day.setMonth(std::stol(text.substr(5, 2)));
  day.setDay(std::stol(text.substr(8, 2)));
  const auto calendar = phone_->device()->calendar();
  auto date = calendar->dateFromComponents(day);
  // dateFromComponents carries 2019-02-30 over into March; such a day is refused.
  if (!date || calendar->component(NSCalendarUnitDay, *date) != day.day()) return std::nullopt;
  return date;
}

bool Replay::chooseSpan(std::ostream& err) {
  const auto calendar = phone_->device()->calendar();
  const NSDate exported = *summary_.exportedAt;
  if (options_.since.empty()) {
    since_ = *calendar->startOfDayForDate(
        *calendar->dateByAddingUnit(NSCalendarUnitMonth, -6, exported, NSCalendarOptions{}));
  } else if (options_.since == "all") {
    since_ = *calendar->startOfDayForDate(timeline_.firstArrival().value_or(exported));
  } else if (auto day = dayOption(options_.since)) {
    since_ = *day;
  } else {
    err << "error: --since '" << options_.since << "' is not a day of the calendar\n";
    return false;
  }
  until_ = exported;
  if (!options_.until.empty()) {
    auto day = dayOption(options_.until);
    if (!day) {
      err << "error: --until '" << options_.until << "' is not a day of the calendar\n";
      return false;
    }
    until_ = *calendar->dateByAddingUnit(NSCalendarUnitDay, 1, *day, NSCalendarOptions{});
  }
  if (!(since_ < until_)) {
    err << "error: the replay would end (" << until_.description() << ") before it starts ("
        << since_.description() << "); check --since and --until\n";
    return false;
  }
  position_.exportedAt = exported.timeIntervalSince1970();
  position_.objects = 0;
  for (const auto& [type, count] : timeline_.readByType()) position_.objects += count;
  position_.since = since_.timeIntervalSince1970();
  position_.until = until_.timeIntervalSince1970();
  position_.zone = phone_->device()->calendar()->timeZone()->name();
  return true;
}

bool Replay::saveEndedBefore(NSDate moment, std::ostream& err) {
  auto& counts = position_.installed ? whileRunning_ : atInstall_;
  auto& device = *phone_->device();
  std::string error;
  const bool saved = until_ < moment ? timeline_.releaseThrough(until_, device, counts, error)
                                     : timeline_.releaseBefore(moment, device, counts, error);
  if (!saved) {
    err << "error: " << error << "\n";
    return false;
  }
  return true;
}

bool Replay::begin(NSDate hour, std::ostream& err) {
  if (position_.hour != hour.timeIntervalSince1970()) position_.relaunches = 0;
  position_.hour = hour.timeIntervalSince1970();
  std::string error;
  if (!position_.write(ReplayPosition::pathFor(options_.databasePath), error)) {
    err << "error: " << error << "\n";
    return false;
  }
  return true;
}

bool Replay::isNight(NSDate moment) const {
  const long hour = phone_->device()->calendar()->component(NSCalendarUnitHour, moment);
  return hour < kMorning || hour >= kNight;
}

void Replay::setAppStateFor(NSDate moment) {
  if (!isNight(moment)) {
    phone_->device()->unlock();
    phone_->enterForeground();
    return;
  }
  phone_->enterBackground();
  if (options_.lockedNights) phone_->device()->lock();
}

std::unique_ptr<OSTStore> Replay::openStore() const {
  auto store = options_.openStore ? options_.openStore(options_.databasePath)
                                  : std::make_unique<OSTSQLiteStore>(options_.databasePath);
  return std::make_unique<RecordWriteTimes>(std::move(store), writeMoments_);
}

bool Replay::installApp(std::ostream& err) {
  return phone_->install(options_.databasePath, err, openStore());
}

bool Replay::installFresh(std::ostream& out, std::ostream& err) {
  position_.installed = false;
  // The app is installed at `since`, on a phone that holds what ended before then.
  phone_->clock().set(since_);
  if (!begin(since_, err) || !saveEndedBefore(since_, err)) return false;
  // The person installs the app on an unlocked phone, and puts it away after its first launch.
  setAppStateFor(since_);
  phone_->device()->unlock();
  if (!installApp(err) || !phone_->fetchLatestAndHistory(out, err)) {
    return false;
  }
  setAppStateFor(since_);
  position_.installed = true;
  return begin(since_, err);
}

bool Replay::rebuildUntil(NSDate hour, std::ostream& err) {
  // The same saves as the run that stopped there: at the install, then every hour, then `until`
  // if it is not on the hour.
  const bool installed = position_.installed;
  position_.installed = false;
  bool saved = saveEndedBefore(since_, err);
  position_.installed = installed;
  for (NSDate next = since_.dateByAddingTimeInterval(kHour); saved && !(hour < next);
       next = next.dateByAddingTimeInterval(kHour)) {
    saved = saveEndedBefore(next.dateByAddingTimeInterval(kMoment), err);
  }
  return saved && (hour == since_ || saveEndedBefore(hour.dateByAddingTimeInterval(kMoment), err));
}

bool Replay::launch(std::ostream& out, std::ostream& err) {
  const std::string positionPath = ReplayPosition::pathFor(options_.databasePath);
  std::string error;
  auto stored = ReplayPosition::read(positionPath, error);
  if (!error.empty()) {
    err << "error: " << error << "\n";
    return false;
  }
  if (!stored || !std::filesystem::exists(options_.databasePath)) {
    std::error_code ignored;
    std::filesystem::remove(options_.databasePath, ignored);
    return installFresh(out, err);
  }
  if (!stored->sameReplayAs(position_)) {
    err << "error: " << options_.databasePath
        << " belongs to another replay (another export, span or zone); remove it and "
        << positionPath << ", or use another --database\n";
    return false;
  }
  if (!stored->installed) {
    // The app's first launch never finished: it is installed again on a fresh database, as its
    // first fetches store where they stopped before they submit.
    std::error_code ignored;
    std::filesystem::remove(options_.databasePath, ignored);
    out << "Installing again: the last run stopped during the app's first launch\n";
    return installFresh(out, err);
  }
  position_.installed = true;
  const NSDate hour = NSDate::dateWithTimeIntervalSince1970(stored->hour);
  out << "Continuing the replay stopped at " << hour.description() << "\n";
  position_.hour = stored->hour;
  position_.relaunches = std::min(stored->relaunches + 1, kRelaunchesAHour);
  if (!rebuildUntil(hour, err) || !begin(hour, err)) return false;
  setAppStateFor(hour);
  // The app comes back a little after it was killed, as it would on a phone: a fetch the killed
  // run had begun is not mistaken for one that is still running.
  phone_->clock().set(
      hour.dateByAddingTimeInterval(kMoment + kRelaunchDelay * position_.relaunches));
  return phone_->relaunch(options_.databasePath, err, openStore());
}

int Replay::prepare(std::ostream& out, std::ostream& err) {
  if (const int status = checkOptions(err)) return status;
  if (!readExport(out, err)) return 1;
  if (!chooseSpan(err)) return 2;
  return launch(out, err) ? 0 : 1;
}

void Replay::liveHour(NSDate hour) {
  const long local = phone_->device()->calendar()->component(NSCalendarUnitHour, hour);
  if (local == kMorning) {
    phone_->device()->unlock();
    phone_->enterForeground();
    phone_->fetchLatestData();
    ++morningFetches_;
  } else if (local == kNight) {
    phone_->enterBackground();
    if (options_.lockedNights) phone_->device()->lock();
  }
  SimulatedPhone::runUntilIdle();
}

bool Replay::liveUntil(NSDate end, std::ostream& out, std::ostream& err) {
  // Only hours of the grid (and `until`) are ever lived: a relaunch rebuilds HealthKit with
  // exactly those steps.
  end =
      since_.dateByAddingTimeInterval(std::ceil(end.timeIntervalSinceDate(since_) / kHour) * kHour);
  if (until_ < end) end = until_;
  NSDate now = NSDate::dateWithTimeIntervalSince1970(position_.hour);
  const auto hours = static_cast<std::uint64_t>((end.timeIntervalSinceDate(now)) / kHour) + 1;
  Progress progress(out, options_.terminal);
  progress.start("Replaying", hours);
  std::uint64_t done = 0;
  while (now < end) {
    // The next hour of the replay's grid (since, since + 1 h, ...), however `now` was reached.
    const double step = std::floor(now.timeIntervalSinceDate(since_) / kHour) + 1;
    NSDate next = since_.dateByAddingTimeInterval(step * kHour);
    if (end < next) next = end;
    const NSDate moment = next.dateByAddingTimeInterval(kMoment);
    if (!begin(next, err)) return false;
    phone_->clock().set(moment);
    if (!saveEndedBefore(moment, err)) return false;
    liveHour(next);
    now = next;
    progress.update(++done, now.description().substr(0, 16));
  }
  progress.finish();
  return true;
}

std::size_t Replay::backgroundWakes() const {
  std::size_t wakes = 0;
  for (const auto& call : phone_->device()->observerInvocations()) wakes += call.inBackground;
  return wakes;
}

ReplayedTypes Replay::replayedTypes(const Records& records) const {
  ReplayedTypes types;
  types.read = timeline_.readByType();
  types.atInstall = atInstall_;
  types.whileRunning = whileRunning_;
  for (const auto& type : SimulatedPhone::typesOfEverySubscriptionSet()) {
    types.subscribed.insert(type->identifier());
    if (OSTHealthKitSubscription::recordTypeForSampleType(*type) == OSTRecordTypeRoutine ||
        OSTHealthKitSubscription::isHeartRateSample(*type)) {
      types.summed.insert(type->identifier());
    }
  }
  countObjectFates(timeline_.released(), records, phone_->device()->identifiersDeliveredToHostApp(),
                   since_, types);
  return types;
}

OutboxMisses Replay::outboxMisses(const Records& records) const {
  const ReplayedTypes types = replayedTypes(records);
  return findOutboxMisses({.records = records,
                           .device = *phone_->device(),
                           .since = since_,
                           .until = until_,
                           .writeMoments = *writeMoments_,
                           .released = timeline_.released(),
                           .types = types});
}

int Replay::run(std::ostream& out, std::ostream& err) {
  if (const int status = prepare(out, err)) return status;
  if (!liveUntil(until_, out, err)) return 1;
  out << "\nReplayed " << since_.description() << " to " << until_.description() << ": "
      << backgroundWakes() << " background wakes, " << morningFetches_ << " morning fetches\n";
  const auto records = readOutbox(*phone_->session());
  if (records.error) {
    err << "error: cannot read the outbox: " << records.error->localizedDescription() << "\n";
    return 1;
  }
  printReplayedTypes(out, replayedTypes(records.value));
  const auto calendar = phone_->device()->calendar();
  if (options_.json) {
    printOutboxMissesJSON(out, outboxMisses(records.value), *calendar);
  } else {
    printOutboxMisses(out, outboxMisses(records.value), *calendar);
  }
  printRecordsByMonth(out, records.value, *phone_->device()->calendar());
  return phone_->reportOutbox(options_.databasePath, out, err);
}

}  // namespace ostrand_tools
