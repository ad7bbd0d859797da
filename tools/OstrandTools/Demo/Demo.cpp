#include "tools/OstrandTools/Demo/Demo.h"

#include <algorithm>
#include <filesystem>

#include "tools/OstrandTools/Common/Progress.h"

namespace ostrand_tools {

namespace {
constexpr double kHour = 3600;
}

NSDate Demo::lastDay() {
  // 2024-06-14 12:00 UTC; its day is taken in the process's time zone.
  return NSDate::dateWithTimeIntervalSince1970(1718366400.0);
}

Demo::Demo(DemoOptions options) : options_(std::move(options)) {
  options_.days = std::max(options_.days, 1);
  phone_ = std::make_unique<SimulatedPhone>(NSDate::dateWithTimeIntervalSince1970(0));
  phone_->clock().set(dayStart(0));
  person_ = std::make_unique<DemoPerson>(phone_->device(), options_.seed);
}

NSDate Demo::dayStart(int dayIndex) const {
  const auto calendar = phone_->device()->calendar();
  const NSDate last = *calendar->startOfDayForDate(lastDay());
  return *calendar->dateByAddingUnit(NSCalendarUnitDay, dayIndex - (options_.days - 1), last,
                                     NSCalendarOptions{});
}

bool Demo::liveHistory(std::ostream& out) {
  const int days = options_.days - 1;
  Progress progress(out, options_.terminal);
  progress.start("Simulating " + std::to_string(days) + " days of iPhone and Apple Watch data",
                 days);
  for (int index = 0; index < days; ++index) {
    const auto entries = person_->day(dayStart(index), index);
    phone_->clock().set(dayStart(index + 1).dateByAddingTimeInterval(60));
    if (!DemoPerson::save(entries)) return false;
    progress.update(index + 1);
  }
  progress.finish();
  return true;
}

bool Demo::installApp(std::ostream& err) {
  phone_->clock().set(dayStart(options_.days - 1).dateByAddingTimeInterval(300));
  if (!phone_->install(options_.databasePath, err)) return false;
  phone_->enterBackground();
  return true;
}

bool Demo::liveLastDay(std::ostream& out) {
  const NSDate day = dayStart(options_.days - 1);
  const auto entries = person_->day(day, options_.days - 1);
  std::size_t next = 0;
  // Hour by hour, and a last look at a quarter to midnight.
  for (double hours = 1; hours <= 23.75; hours = hours < 23 ? hours + 1 : 23.75) {
    const NSDate now = day.dateByAddingTimeInterval(hours * kHour);
    phone_->clock().set(now);
    std::vector<DemoPerson::Entry> due;
    while (next < entries.size() && entries[next].endDate.timeIntervalSinceReferenceDate() <=
                                        now.timeIntervalSinceReferenceDate()) {
      due.push_back(entries[next++]);
    }
    if (!due.empty() && !DemoPerson::save(due)) return false;
    if (hours == 23.75) break;
  }
  std::size_t wakes = 0;
  for (const auto& call : phone_->device()->observerInvocations()) wakes += call.inBackground;
  out << "In the background: the last day's " << next
      << " samples arrived hour by hour; HealthKit woke the app " << wakes << " times\n";
  return true;
}

bool Demo::fetch(std::ostream& out, std::ostream& err) {
  phone_->enterForeground();
  return phone_->fetchLatestAndHistory(out, err);
}

int Demo::run(std::ostream& out, std::ostream& err) {
  std::error_code ignored;
  std::filesystem::remove(options_.databasePath, ignored);
  if (!liveHistory(out) || !installApp(err) || !liveLastDay(out) || !fetch(out, err)) return 1;
  return phone_->reportOutbox(options_.databasePath, out, err);
}

}  // namespace ostrand_tools
