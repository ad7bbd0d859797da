#include <cstdio>
#include <iomanip>
#include <string>

#include "tools/OstrandTools/Replay/OutboxMisses.h"

namespace ostrand_tools {

namespace {

std::string dayText(NSDate day, const NSCalendar& calendar) {
  char text[16];
  std::snprintf(text, sizeof text, "%04ld-%02ld-%02ld", calendar.component(NSCalendarUnitYear, day),
                calendar.component(NSCalendarUnitMonth, day),
                calendar.component(NSCalendarUnitDay, day));
  return text;
}

std::string wholeText(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.0f", value);
  return text;
}

struct Row {
  const char* name;
  const char* key;
  const MissedDays& days;
  std::string amount;  // as the table writes it
};

std::vector<Row> rowsOf(const OutboxMisses& misses) {
  return {
      {"routine days", "routine", misses.routine, wholeText(misses.routine.amount) + " steps"},
      {"heart-rate days", "heart_rate", misses.heartRate,
       wholeText(misses.heartRate.amount) + " samples"},
      {"minute steps (per source)", "minute_steps", misses.minutes,
       wholeText(misses.minutes.amount) + " minutes, " + wholeText(misses.minutes.steps) +
           " steps"},
  };
}

}  // namespace

void printOutboxMisses(std::ostream& out, const OutboxMisses& misses, const NSCalendar& calendar) {
  out << "\nWhat the outbox misses: each day record against the same day computed from what "
         "HealthKit holds at the end (days through "
      << dayText(misses.to, calendar) << ", exclusive):\n  " << std::left << std::setw(27) << "kind"
      << std::setw(12) << "from" << std::right << std::setw(7) << "days" << std::setw(8) << "differ"
      << std::setw(11) << "no record" << std::setw(17) << "objects missing"
      << "  amount missing\n";
  std::size_t unknown = 0;
  for (const auto& row : rowsOf(misses)) {
    out << "  " << std::left << std::setw(27) << row.name << std::setw(12)
        << dayText(row.days.from, calendar) << std::right << std::setw(7) << row.days.compared
        << std::setw(8) << row.days.differing << std::setw(11) << row.days.withoutRecord
        << std::setw(17) << row.days.objects << "  " << row.amount << "\n";
    unknown += row.days.unknownWriteTimes;
  }
  out << "  objects fetched by anchor: " << misses.anchoredSaved
      << " saved while the app ran; of them not handed to the app: " << misses.anchoredNeverHanded
      << "\n";
  if (unknown > 0) {
    out << "  (" << unknown
        << " differing days were last written before this run started: their objects are not "
           "counted)\n";
  }
}

void printOutboxMissesJSON(std::ostream& out, const OutboxMisses& misses,
                           const NSCalendar& calendar) {
  out << "{\"outbox_misses\":{\"to\":\"" << dayText(misses.to, calendar) << "\"";
  for (const auto& row : rowsOf(misses)) {
    const auto& days = row.days;
    out << ",\"" << row.key << "\":{\"from\":\"" << dayText(days.from, calendar)
        << "\",\"days\":" << days.compared << ",\"differing\":" << days.differing
        << ",\"without_record\":" << days.withoutRecord << ",\"objects_missing\":" << days.objects
        << ",\"objects_not_counted_days\":" << days.unknownWriteTimes;
    if (&days == &misses.minutes) {
      out << ",\"minutes_missing\":" << wholeText(days.amount)
          << ",\"steps_missing\":" << wholeText(days.steps);
    } else if (&days == &misses.heartRate) {
      out << ",\"samples_missing\":" << wholeText(days.amount);
    } else {
      out << ",\"steps_missing\":" << wholeText(days.amount);
    }
    out << "}";
  }
  out << ",\"fetched_by_anchor\":{\"saved\":" << misses.anchoredSaved
      << ",\"never_handed\":" << misses.anchoredNeverHanded << "}}}\n";
}

}  // namespace ostrand_tools
