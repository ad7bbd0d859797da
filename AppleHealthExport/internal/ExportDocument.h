#pragma once

// ExportDocument: the export's elements as the XML parser reports them, turned into HealthKit
// objects. A Record becomes a quantity or category sample, a Correlation a correlation holding
// its own Records, a Workout a workout with its events, metadata and totals (from the legacy
// total attributes or from its WorkoutStatistics); what the simulator has no place for
// (ActivitySummary, Me, routes, heartbeat lists, a WorkoutActivity's copies) is counted. Objects
// go to the SampleSaver as each element ends, so only the element being read is held.
//
// Driven by one parser on one thread.

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "AppleHealthExport/AppleHealthExportSummary.h"
#include "AppleHealthExport/internal/ExportAttributes.h"
#include "AppleHealthExport/internal/ExportDates.h"
#include "AppleHealthExport/internal/ExportDevices.h"
#include "AppleHealthExport/internal/ExportMetadata.h"
#include "AppleHealthExport/internal/ExportSources.h"
#include "AppleHealthExport/internal/ExportTypeCache.h"
#include "AppleHealthExport/internal/SampleSaver.h"
#include "HealthKit/HKSample.h"

namespace apple_health_export {

class ExportDocument {
 public:
  ExportDocument(SampleSaver& saver, AppleHealthExportSummary& summary)
      : saver_(saver), summary_(summary) {}

  // expat's attribute list: name, value, name, value, ..., nullptr. An empty string means the
  // element is accepted; otherwise it is why reading must stop.
  std::string startElement(const char* name, const char** attributes);
  std::string endElement(const char* name);

  // The innermost element being read, for error messages.
  std::string currentElement() const { return path_.empty() ? std::string() : path_.back(); }

 private:
  using Attributes = ExportAttributes;
  struct Draft {  // a Record, Correlation, Workout or WorkoutEvent being read
    Attributes attributes;
    MetadataEntries metadata;
  };
  struct BuiltSample {
    std::shared_ptr<const HKSample> sample;  // nullptr: not built (counted)
    NSUUID contentUUID;                      // of the record's content alone
    std::string_view typeIdentifier;         // in the record's attributes
  };

  // A draft holding `attributes`, made from one read before when there is one.
  Draft takeDraft(const char** attributes);
  void recycle(Draft&& draft);
  // The one copy of a type or source name, for what counts objects when they are saved.
  const std::string* interned(std::string_view name);
  BuiltSample buildRecord(const Draft& record);
  void finishRecord(const Draft& record);
  void finishCorrelation();
  void finishWorkout();
  std::shared_ptr<const NSDictionary> metadataFor(const MetadataEntries& entries);
  void skip(const std::string& reason) { ++summary_.skipped[reason]; }
  // The element's creationDate, when the saver keeps them and it can be read.
  std::optional<NSDate> creationDateOf(const Attributes& attributes);
  // Counts the offset of the element's end date into the summary's zone evidence.
  void noteWrittenOffset(const Attributes& attributes);

  SampleSaver& saver_;
  AppleHealthExportSummary& summary_;
  std::vector<std::string> path_;
  std::optional<Draft> record_;
  std::optional<Draft> correlation_;
  std::vector<Draft> correlationRecords_;
  std::optional<Draft> workout_;
  std::vector<Draft> workoutEvents_;
  std::vector<Attributes> workoutStatistics_;
  std::optional<Draft> event_;
  int activityDepth_ = 0;  // inside a WorkoutActivity, whose events and statistics are copies
  int routeDepth_ = 0;
  ExportSources sources_;
  ExportDevices devices_;
  ExportDates dates_;
  ExportDates creationDates_;  // apart: they would push the start and end dates out
  ExportTypeCache types_;
  std::vector<Draft> spareDrafts_;
  std::set<std::string, std::less<>> names_;
  std::map<int, std::int64_t> lastOffsetDay_;  // by offset: the UTC day last noted
};

}  // namespace apple_health_export
