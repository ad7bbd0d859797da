#include "tools/OstrandTools/Bench/BenchHeavyUserPhone.h"

#include "HealthKit/HKSourceRevision.h"
#include "OstrandCore/OSTSQLiteStore.h"
#include "tools/OstrandTools/Bench/BenchObjectFactory.h"

namespace ostrand_tools {

namespace {

// 2024-06-14 12:00 UTC; its day is taken in the process's time zone.
NSDate installMoment() { return NSDate::dateWithTimeIntervalSince1970(1718366400.0); }

}  // namespace

BenchHeavyUserPhone::BenchHeavyUserPhone(const BenchScratchDirectory& scratch)
    : phone_(installMoment()),
      person_(phone_.device()),
      app_(phone_.device()->storeForSource(HKSourceRevision::sourceRevisionWithSource(
          HKSource::sourceWithName("Every Type", "com.example.everytype"), "1.0", "iPhone15,2",
          NSOperatingSystemVersion{17, 0, 0}))),
      databasePath_(scratch.file("heavy-user.sqlite")) {}

NSDate BenchHeavyUserPhone::dayStart(NSDate date) const {
  return phone_.device()->calendar()->startOfDayForDate(date).value_or(date);
}

NSDate BenchHeavyUserPhone::today() const { return dayStart(installMoment()); }

NSDate BenchHeavyUserPhone::dayFromToday(int days) const {
  return dayStart(phone_.device()
                      ->calendar()
                      ->dateByAddingUnit(NSCalendarUnitDay, days, today(), {})
                      .value_or(today()));
}

int BenchHeavyUserPhone::daysOfSixMonths() const {
  const NSDate sixMonthsAgo = phone_.device()
                                  ->calendar()
                                  ->dateByAddingUnit(NSCalendarUnitMonth, -6, today(), {})
                                  .value_or(today());
  // Back to the window's first day, then one more: the routine fetch reads the day before too.
  int days = 1;
  while (dayFromToday(-days).compare(sixMonthsAgo) == NSOrderedDescending) ++days;
  return days + 1;
}

bool BenchHeavyUserPhone::liveHistory(int days, Progress& progress, std::ostream& err) {
  progress.start("Writing " + std::to_string(days) + " days of a heavy user", days);
  for (int day = 0; day < days; ++day) {
    const NSDate start = dayFromToday(day - days);
    const NSDate next = dayFromToday(day + 1 - days);
    phone_.clock().set(next);
    BenchWrites writes;
    person_.day(start, next, writes);
    if (!writes.save(err)) return false;
    historyObjects_ += writes.count();
    progress.update(day + 1);
  }
  progress.finish();
  return true;
}

bool BenchHeavyUserPhone::install(std::ostream& err) {
  phone_.clock().set(today().dateByAddingTimeInterval(300));
  auto store =
      std::make_unique<BenchRecordingStore>(std::make_unique<OSTSQLiteStore>(databasePath_));
  store_ = store.get();
  if (const auto error = phone_.session()->startSession("bench-user", std::move(store))) {
    err << "error: cannot use the session database " << databasePath_ << ": "
        << error->localizedDescription() << "\n";
    return false;
  }
  if (!phone_.subscribeToEverything()) {
    err << "error: HealthKit did not answer the subscription request\n";
    return false;
  }
  return true;
}

void BenchHeavyUserPhone::writesForRange(NSDate from, NSDate to, BenchWrites& out) const {
  person_.minutes(from, to, out);
  // Ten minutes at the start of the range: ended well before the range does (and the app wakes).
  const NSDate end = from.dateByAddingTimeInterval(600);
  int index = 0;
  for (const auto& type : SimulatedPhone::typesOfEverySubscriptionSet()) {
    if (auto object = BenchObjectFactory::object(*type, from, end, index++)) out.add(app_, object);
  }
}

}  // namespace ostrand_tools
