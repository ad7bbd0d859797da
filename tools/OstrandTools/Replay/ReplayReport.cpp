#include "tools/OstrandTools/Replay/ReplayReport.h"

#include <cstdio>
#include <iomanip>
#include <set>
#include <vector>

namespace ostrand_tools {

namespace {

std::size_t countOf(const TypeCounts& counts, const std::string& type) {
  auto found = counts.find(type);
  return found == counts.end() ? 0 : found->second;
}

// Why objects of a type made no record of their own.
std::string whyNoRecord(const std::string& type, const ReplayedTypes& types) {
  const std::size_t read = countOf(types.read, type);
  const std::size_t saved = countOf(types.atInstall, type) + countOf(types.whileRunning, type);
  const std::size_t records = countOf(types.records, type);
  const std::size_t handed = countOf(types.handed, type);
  std::vector<std::string> reasons;
  auto add = [&reasons](std::size_t count, const char* why) {
    if (count > 0) reasons.push_back(std::to_string(count) + " " + why);
  };
  if (types.subscribed.count(type) == 0) {
    add(saved - records, "type not subscribed");
  } else if (types.summed.count(type) != 0) {
    add(saved - records, "made into day records");
  } else {
    add(countOf(types.neverHanded, type), "never handed to the app");
    add(countOf(types.neverHandedBeforeSince, type),
        "never handed to the app, in HealthKit before --since");
    add(handed > records ? handed - records : 0, "handed to the app, refused by the conversion");
  }
  add(read - saved, "after --until");
  std::string text;
  for (const auto& reason : reasons) text += (text.empty() ? "" : "; ") + reason;
  return text;
}

}  // namespace

void printReplayedTypes(std::ostream& out, const ReplayedTypes& types) {
  out << "\nObjects by type: read; in HealthKit at install (before --since); saved while the app "
         "ran; handed to the app by its queries; records of their own; why the rest made none:\n";
  for (const auto& [type, count] : types.read) {
    out << "  " << std::left << std::setw(52) << type << std::right;
    for (const auto* column :
         {&types.read, &types.atInstall, &types.whileRunning, &types.handed, &types.records}) {
      out << std::setw(8) << countOf(*column, type);
    }
    const std::string why = whyNoRecord(type, types);
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
