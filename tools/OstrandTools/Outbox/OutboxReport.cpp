#include "tools/OstrandTools/Outbox/OutboxReport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "OstrandCore/OSTISO8601DateFormatter.h"
#include "OstrandCore/OSTRecordCoder.h"

namespace ostrand_tools {

namespace {

std::string number(const NSAny& value) {
  if (!value.isNumber()) return "-";
  const double v = value.doubleValue();
  char text[32];
  std::snprintf(text, sizeof text, v == std::round(v) ? "%.0f" : "%.2f", v);
  return text;
}

std::vector<std::shared_ptr<OSTRecord>> ofKind(const Records& records, OSTRecordType kind) {
  std::vector<std::shared_ptr<OSTRecord>> found;
  std::copy_if(records.begin(), records.end(), std::back_inserter(found),
               [kind](const auto& record) { return record->recordType() == kind; });
  std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) {
    return a->timestamp().value_or(NSDate::distantPast()).timeIntervalSinceReferenceDate() <
           b->timestamp().value_or(NSDate::distantPast()).timeIntervalSinceReferenceDate();
  });
  return found;
}

void printRoutineDays(std::ostream& out, const Records& records, std::size_t days) {
  const auto routine = ofKind(records, OSTRecordTypeRoutine);
  out << "\nRoutine, last " << std::min(days, routine.size()) << " days:\n";
  const std::size_t first = routine.size() > days ? routine.size() - days : 0;
  for (std::size_t i = first; i < routine.size(); ++i) {
    const auto& day = *routine[i];
    out << "  " << day.valueForKey("timestamp").description() << "  steps "
        << number(day.valueForKey("steps")) << "  distance " << number(day.valueForKey("distance"))
        << " m  calories " << number(day.valueForKey("caloriesBurned")) << "\n";
  }
}

void printWorkout(std::ostream& out, const Records& records) {
  const auto workouts = ofKind(records, OSTRecordTypeFitness);
  if (workouts.empty()) return;
  const auto richest = std::max_element(workouts.begin(), workouts.end(), [](auto& a, auto& b) {
    return a->extras().size() < b->extras().size();
  });
  out << "\nA workout:\n  " << OSTRecordCoder::JSONFromRecord(**richest) << "\n";
}

void printHeartRateDay(std::ostream& out, const Records& records) {
  const auto biometrics = ofKind(records, OSTRecordTypeBiometrics);
  const auto day = std::find_if(biometrics.rbegin(), biometrics.rend(), [](const auto& record) {
    return record->valueForKey("averageHeartRate").isNumber();
  });
  if (day == biometrics.rend()) return;
  out << "\nA heart-rate day:\n  " << OSTRecordCoder::JSONFromRecord(**day) << "\n";
}

}  // namespace

OSTResult<Records> readOutbox(OSTSession& session) {
  auto stored = session.outboxRecords(std::numeric_limits<std::size_t>::max());
  if (!stored.ok()) return {{}, stored.error};
  Records records;
  for (const auto& entry : stored.value) {
    if (!entry.record) return {{}, entry.error};
    records.push_back(entry.record);
  }
  return {records, nullptr};
}

std::map<OSTRecordType, std::size_t> countByKind(const Records& records) {
  std::map<OSTRecordType, std::size_t> counts;
  for (const auto& record : records) ++counts[record->recordType()];
  return counts;
}

void printCounts(std::ostream& out, const Records& records) {
  out << "Records by kind (" << records.size() << " in all):\n";
  for (const auto& [kind, count] : countByKind(records)) {
    out << "  " << OSTRecordTypeName(kind) << std::string(12 - OSTRecordTypeName(kind).size(), ' ')
        << count << "\n";
  }
}

void printRecords(std::ostream& out, const Records& records) {
  for (const auto& record : records) out << record->description() << "\n";
}

void printJSONLines(std::ostream& out, const Records& records) {
  for (const auto& record : records) out << OSTRecordCoder::JSONFromRecord(*record) << "\n";
}

void printSyncSummary(std::ostream& out, const Records& records, std::size_t days) {
  printCounts(out, records);
  printRoutineDays(out, records, days);
  printWorkout(out, records);
  printHeartRateDay(out, records);
}

}  // namespace ostrand_tools
