#include "tools/OstrandTools/ReplayReport.h"

#include <cstdio>
#include <iomanip>
#include <set>

namespace ostrand_tools {

namespace {

std::size_t countOf(const TypeCounts& counts, const std::string& type) {
  auto found = counts.find(type);
  return found == counts.end() ? 0 : found->second;
}

// Why objects of a type made no record, where the type alone says.
std::string note(const std::string& type, const std::set<std::string>& subscribed,
                 std::size_t afterUntil) {
  std::string text;
  if (subscribed.count(type) == 0) text = "type not subscribed: no record";
  if (afterUntil > 0) {
    text += text.empty() ? "" : "; ";
    text += std::to_string(afterUntil) + " after --until";
  }
  return text;
}

}  // namespace

void printReplayedTypes(std::ostream& out, const TypeCounts& read, const TypeCounts& atInstall,
                        const TypeCounts& whileRunning, const OSTSampleTypeArray& subscribed) {
  std::set<std::string> names;
  for (const auto& type : subscribed) names.insert(type->identifier());
  out << "\nObjects by type: read, in HealthKit at install (before --since), saved while the app "
         "ran:\n";
  for (const auto& [type, count] : read) {
    const std::size_t before = countOf(atInstall, type);
    const std::size_t during = countOf(whileRunning, type);
    out << "  " << std::left << std::setw(52) << type << std::right << std::setw(8) << count
        << std::setw(8) << before << std::setw(8) << during;
    const std::string why = note(type, names, count - before - during);
    if (!why.empty()) out << "  " << why;
    out << "\n";
  }
}

void printRecordsByMonth(std::ostream& out, const Records& records, const NSCalendar& calendar) {
  std::set<OSTRecordType> kinds;
  std::map<std::string, std::map<OSTRecordType, std::size_t>> months;
  for (const auto& record : records) {
    const auto timestamp = record->timestamp();
    char month[16] = "(no date)";
    if (timestamp) {
      std::snprintf(month, sizeof month, "%04ld-%02ld",
                    calendar.component(NSCalendarUnitYear, *timestamp),
                    calendar.component(NSCalendarUnitMonth, *timestamp));
    }
    kinds.insert(record->recordType());
    ++months[month][record->recordType()];
  }
  out << "\nRecords by month and kind:\n  " << std::left << std::setw(9) << "month" << std::right;
  for (const auto kind : kinds) out << std::setw(12) << OSTRecordTypeName(kind);
  out << "\n";
  for (const auto& [month, counts] : months) {
    out << "  " << std::left << std::setw(9) << month << std::right;
    for (const auto kind : kinds) {
      auto found = counts.find(kind);
      out << std::setw(12) << (found == counts.end() ? 0 : found->second);
    }
    out << "\n";
  }
}

}  // namespace ostrand_tools
