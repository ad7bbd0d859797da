#include "AppleHealthExport/internal/ExportDocument.h"

#include <algorithm>
#include <stdexcept>

#include "AppleHealthExport/internal/ContentUUID.h"
#include "AppleHealthExport/internal/ExportNames.h"
#include "AppleHealthExport/internal/ExportValues.h"
#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/HKWorkout.h"
#include "HealthKit/Simulator/ImportedObjectIdentity.h"

namespace apple_health_export {

namespace {

// An element holding more children than this is not an export's.
constexpr std::size_t kMaxChildren = 100000;
// Drafts kept for reuse: enough for an element and the children read before it ends.
constexpr std::size_t kSpareDrafts = 4;

ContentUUID& addCommon(ContentUUID& id, const ExportAttributes& attributes,
                       const MetadataEntries& metadata) {
  for (const char* name : {"sourceName", "sourceVersion", "device", "startDate", "endDate"}) {
    id.add(attributes.value(name));
  }
  auto addEntries = [&id](const MetadataEntries& entries) {
    for (const auto& [key, value] : entries) id.add(key).add(value);
  };
  if (std::is_sorted(metadata.begin(), metadata.end())) {
    addEntries(metadata);  // as most are: one entry, or none
  } else {
    auto sorted = metadata;
    std::sort(sorted.begin(), sorted.end());
    addEntries(sorted);
  }
  return id;
}

std::optional<double> secondsIn(double value, std::string_view unit) {
  if (unit.empty() || unit == "min") return value * 60;
  if (unit == "s") return value;
  if (unit == "hr" || unit == "h") return value * 3600;
  return std::nullopt;
}

bool isDistance(std::string_view type) {
  return type == HKQuantityTypeIdentifierDistanceWalkingRunning ||
         type == HKQuantityTypeIdentifierDistanceCycling ||
         type == HKQuantityTypeIdentifierDistanceSwimming ||
         type == HKQuantityTypeIdentifierDistanceWheelchair ||
         type == HKQuantityTypeIdentifierDistanceDownhillSnowSports;
}

}  // namespace

std::shared_ptr<const NSDictionary> ExportDocument::metadataFor(const MetadataEntries& entries) {
  return exportMetadata(entries, {&summary_.unknownUnits, &summary_.skipped});
}

ExportDocument::BuiltSample ExportDocument::buildRecord(const Draft& record) {
  BuiltSample built;
  const auto& attributes = record.attributes;
  built.typeIdentifier = attributes.value("type");
  ContentUUID id("record");
  id.add(built.typeIdentifier).add(attributes.value("unit")).add(attributes.value("value"));
  built.contentUUID = addCommon(id, attributes, record.metadata).uuid();
  saver_.prefetchSeen(built.contentUUID);

  const auto [quantityType, categoryType] = types_.recordType(built.typeIdentifier);
  if (!quantityType && !categoryType) {
    ++summary_.unknownTypes[std::string(built.typeIdentifier)];
    return built;
  }
  auto start = dates_.dateFor(attributes.value("startDate"));
  auto end = dates_.dateFor(attributes.value("endDate"));
  if (!start || !end) return skip("unreadable date"), built;
  if (*end < *start) return skip("end before start"), built;
  HKDevice::Pointer device;
  if (attributes.has("device")) {
    device = devices_.deviceFor(attributes.value("device"));
    if (!device) ++summary_.elementsNotStored["unreadable device description"];
  }
  auto metadata = metadataFor(record.metadata);
  try {
    if (quantityType) {
      auto unit = types_.unit(attributes.value("unit"), summary_);
      if (!unit) return built;
      auto value = parseExportNumber(attributes.value("value"));
      if (!value) return skip("unreadable value"), built;
      if (!quantityType->isCompatibleWithUnit(*unit)) return skip("unit does not suit type"), built;
      built.sample = HKQuantitySample::quantitySampleWithType(
          quantityType, HKQuantity::quantityWithUnit(unit, *value), *start, *end, device, metadata);
    } else {
      long value = HKCategoryValueNotApplicable;
      if (attributes.has("value")) {
        const std::string_view text = attributes.value("value");
        auto named = categoryValueNamed(text);
        auto number = named ? std::nullopt : parseExportNumber(text);
        if (!named && !number) return skip("unknown category value"), built;
        value = named ? *named : static_cast<long>(*number);
      }
      if (!categoryType->isValidValue(value)) return skip("category value out of range"), built;
      built.sample = HKCategorySample::categorySampleWithType(categoryType, value, *start, *end,
                                                              device, metadata);
    }
  } catch (const std::invalid_argument&) {
    skip("refused by HealthKit (" + std::string(built.typeIdentifier) + ")");
  }
  return built;
}

void ExportDocument::finishRecord(const Draft& record) {
  auto built = buildRecord(record);
  if (!built.sample) return;
  if (saver_.seen(built.contentUUID)) {
    // Identical content seen before: a duplicate, or the top-level twin of a correlation's record.
    return skip("duplicate record");
  }
  auto sample = platform::objectWithUUID(*built.sample, built.contentUUID);
  const std::string* type = interned(built.typeIdentifier);
  const std::string* source = interned(record.attributes.value("sourceName"));
  saver_.add(sources_.revisionFor(record.attributes, sample->device().get()), sample,
             creationDateOf(record.attributes),
             [type, source](AppleHealthExportSummary& summary) {
               ++summary.samplesByType[*type];
               ++summary.objectsBySource[*source];
             });
}

void ExportDocument::finishCorrelation() {
  Draft correlation = std::move(*correlation_);
  correlation_.reset();
  auto records = std::move(correlationRecords_);
  correlationRecords_.clear();
  const auto& attributes = correlation.attributes;
  const std::string typeIdentifier(attributes.value("type"));
  auto type = HKObjectType::correlationTypeForIdentifier(typeIdentifier);
  if (!type) return void(++summary_.unknownTypes[typeIdentifier]);

  ContentUUID id("correlation");
  id.add(typeIdentifier);
  addCommon(id, attributes, correlation.metadata);
  HKCorrelation::Objects objects;
  std::vector<BuiltSample> twins;
  std::vector<std::string> memberTypes;
  for (const auto& record : records) {
    auto built = buildRecord(record);
    if (!built.sample) return skip("correlation with an unusable record");
    id.add(built.contentUUID);
    // The correlation's own copy: a UUID apart from the top-level twin's, which the store has
    // seen (and would refuse again even after it is removed).
    objects.push_back(platform::objectWithUUID(
        *built.sample, ContentUUID("correlated record").add(built.contentUUID).uuid()));
    memberTypes.emplace_back(built.typeIdentifier);
    if (saver_.seen(built.contentUUID)) twins.push_back(built);
  }
  const NSUUID uuid = id.uuid();
  if (saver_.seen(uuid)) return skip("duplicate correlation");
  auto start = dates_.dateFor(attributes.value("startDate"));
  auto end = dates_.dateFor(attributes.value("endDate"));
  if (!start || !end) return skip("unreadable date");
  if (*end < *start) return skip("end before start");
  HKDevice::Pointer device;
  if (attributes.has("device")) device = devices_.deviceFor(attributes.value("device"));
  std::shared_ptr<const HKCorrelation> built;
  try {
    built = HKCorrelation::correlationWithType(type, *start, *end, objects, device,
                                               metadataFor(correlation.metadata));
  } catch (const std::invalid_argument&) {
    return skip("refused by HealthKit (" + typeIdentifier + ")");
  }
  const std::string source(attributes.value("sourceName"));
  for (const auto& twin : twins) {
    // The export lists a correlation's records at the top level too; the app saved them once,
    // inside the correlation.
    auto saved = platform::objectWithUUID(*twin.sample, twin.contentUUID);
    if (saver_.remove(
            sources_.revisionFor(records.front().attributes, saved->device().get()), saved,
            [type = std::string(twin.typeIdentifier), source](AppleHealthExportSummary& summary) {
              --summary.samplesByType[type];
              --summary.objectsBySource[source];
              ++summary.correlationTwinsReplaced;
            })) {
    }
  }
  for (const auto& record : records) {
    // A top-level twin read later is the same record again.
    saver_.markSeen(buildRecord(record).contentUUID);
  }
  saver_.add(sources_.revisionFor(attributes, device.get()), platform::objectWithUUID(*built, uuid),
             creationDateOf(attributes),
             [typeIdentifier, memberTypes, source](AppleHealthExportSummary& summary) {
               ++summary.correlationsByType[typeIdentifier];
               ++summary.objectsBySource[source];
               for (const auto& member : memberTypes) ++summary.samplesByType[member];
             });
}

void ExportDocument::finishWorkout() {
  Draft workout = std::move(*workout_);
  workout_.reset();
  auto events = std::move(workoutEvents_);
  auto statistics = std::move(workoutStatistics_);
  workoutEvents_.clear();
  workoutStatistics_.clear();
  const auto& attributes = workout.attributes;
  const std::string activityName(attributes.value("workoutActivityType"));
  auto activity = workoutActivityTypeNamed(activityName);
  if (!activity) return void(++summary_.unknownTypes[activityName]);
  auto start = dates_.dateFor(attributes.value("startDate"));
  auto end = dates_.dateFor(attributes.value("endDate"));
  if (!start || !end) return skip("unreadable date");
  if (*end < *start) return skip("end before start");

  ContentUUID id("workout");
  id.add(activityName);
  for (const char* name : {"duration", "durationUnit", "totalDistance", "totalDistanceUnit",
                           "totalEnergyBurned", "totalEnergyBurnedUnit"}) {
    id.add(attributes.value(name));
  }
  addCommon(id, attributes, workout.metadata);

  HKWorkout::Events built;
  for (const auto& event : events) {
    const auto& eventAttributes = event.attributes;
    for (const char* name : {"type", "date", "duration", "durationUnit"}) {
      id.add(eventAttributes.value(name));
    }
    for (const auto& [key, value] : event.metadata) id.add(key).add(value);
    auto type = workoutEventTypeNamed(eventAttributes.value("type"));
    auto date = parseExportDate(eventAttributes.value("date"));
    if (!type) {
      skip("unknown workout event type");
      continue;
    }
    if (!date) {
      skip("unreadable date");
      continue;
    }
    double seconds = 0;
    if (eventAttributes.has("duration")) {
      auto value = parseExportNumber(eventAttributes.value("duration"));
      auto inSeconds =
          value ? secondsIn(*value, eventAttributes.value("durationUnit")) : std::nullopt;
      if (!inSeconds) {
        skip("unreadable workout event duration");
        continue;
      }
      seconds = *inSeconds;
    }
    if (*type != HKWorkoutEventTypeLap && *type != HKWorkoutEventTypeSegment) seconds = 0;
    if (*date < *start || date->dateByAddingTimeInterval(seconds) > *end) {
      skip("workout event outside its workout");
      continue;
    }
    try {
      built.push_back(HKWorkoutEvent::workoutEventWithType(*type, NSDateInterval(*date, seconds),
                                                           metadataFor(event.metadata)));
    } catch (const std::invalid_argument&) {
      skip("refused by HealthKit (workout event)");
    }
  }

  auto quantity = [&](std::string_view value, std::string_view unitText) -> HKQuantity::Pointer {
    auto number = parseExportNumber(value);
    if (!number) return nullptr;
    auto unit = types_.unit(unitText, summary_);
    return unit ? HKQuantity::quantityWithUnit(unit, *number) : nullptr;
  };
  HKQuantity::Pointer energy, distance, strokes;
  if (attributes.has("totalEnergyBurned")) {
    energy =
        quantity(attributes.value("totalEnergyBurned"), attributes.value("totalEnergyBurnedUnit"));
  }
  if (attributes.has("totalDistance")) {
    distance = quantity(attributes.value("totalDistance"), attributes.value("totalDistanceUnit"));
  }
  for (const auto& statistic : statistics) {
    for (const char* name :
         {"type", "startDate", "endDate", "sum", "average", "minimum", "maximum", "unit"}) {
      id.add(statistic.value(name));
    }
    const std::string_view type = statistic.value("type");
    if (!statistic.has("sum")) continue;
    // The newer exports give a workout's totals only as statistics.
    if (type == HKQuantityTypeIdentifierActiveEnergyBurned && !energy) {
      energy = quantity(statistic.value("sum"), statistic.value("unit"));
    } else if (isDistance(type) && !distance) {
      distance = quantity(statistic.value("sum"), statistic.value("unit"));
    } else if (type == HKQuantityTypeIdentifierSwimmingStrokeCount && !strokes) {
      strokes = quantity(statistic.value("sum"), statistic.value("unit"));
    }
  }
  const NSUUID uuid = id.uuid();
  if (saver_.seen(uuid)) return skip("duplicate workout");
  HKDevice::Pointer device;
  if (attributes.has("device")) device = devices_.deviceFor(attributes.value("device"));
  std::shared_ptr<const HKWorkout> saved;
  try {
    saved = HKWorkout::workoutWithActivityType(*activity, *start, *end, built, energy, distance,
                                               strokes, device, metadataFor(workout.metadata));
  } catch (const std::invalid_argument&) {
    return skip("refused by HealthKit (workout)");
  }
  const std::string source(attributes.value("sourceName"));
  const std::size_t eventCount = built.size();
  const std::size_t statisticCount = statistics.size();
  saver_.add(sources_.revisionFor(attributes, device.get()), platform::objectWithUUID(*saved, uuid),
             creationDateOf(attributes),
             [activityName, source, eventCount, statisticCount](AppleHealthExportSummary& summary) {
               ++summary.workoutsByActivityType[activityName];
               ++summary.objectsBySource[source];
               summary.workoutEvents += eventCount;
               summary.workoutStatistics += statisticCount;
             });
}

std::optional<NSDate> ExportDocument::creationDateOf(const Attributes& attributes) {
  if (!saver_.keepsCreationDates() || !attributes.has("creationDate")) return std::nullopt;
  auto date = creationDates_.dateFor(attributes.value("creationDate"));
  if (!date) ++summary_.elementsNotStored["unreadable creation date"];
  return date;
}

void ExportDocument::noteWrittenOffset(const Attributes& attributes) {
  const std::string_view text = attributes.value("endDate");
  const auto offset = exportDateOffset(text);
  if (!offset) return;
  const NSDate date = *dates_.dateFor(text);
  const auto day = static_cast<std::int64_t>(date.timeIntervalSince1970() / 86400);
  auto [last, inserted] = lastOffsetDay_.try_emplace(*offset, day);
  if (!inserted && last->second == day) return;
  last->second = day;
  summary_.writtenOffsets[*offset].push_back(date);
}

ExportDocument::Draft ExportDocument::takeDraft(const char** attributes) {
  Draft draft;
  if (!spareDrafts_.empty()) {
    draft = std::move(spareDrafts_.back());
    spareDrafts_.pop_back();
  }
  draft.attributes.assign(attributes);
  draft.metadata.clear();
  return draft;
}

void ExportDocument::recycle(Draft&& draft) {
  // A draft moved into the element being read is empty: nothing to reuse.
  if (!draft.attributes.empty() && spareDrafts_.size() < kSpareDrafts) {
    spareDrafts_.push_back(std::move(draft));
  }
}

const std::string* ExportDocument::interned(std::string_view name) {
  auto found = names_.find(name);
  if (found == names_.end()) found = names_.emplace(name).first;
  return &*found;
}

std::string ExportDocument::startElement(const char* name, const char** attributes) {
  path_.emplace_back(name);
  const std::string_view element = path_.back();
  Draft draft = takeDraft(attributes);
  const Attributes& values = draft.attributes;
  const std::string_view parent = path_.size() >= 2 ? path_[path_.size() - 2] : std::string_view();

  if (element == "HealthData") {
    if (path_.size() != 1) return "HealthData inside another element";
    summary_.locale = values.value("locale");
  } else if (path_.size() == 1) {
    return "the root element is <" + std::string(element) +
           ">, not <HealthData>: not a Health export";
  } else if (element == "ExportDate") {
    summary_.exportDate = values.value("value");
    summary_.exportedAt = parseExportDate(*summary_.exportDate);
  } else if (element == "Record" && (parent == "HealthData" || parent == "Correlation")) {
    noteWrittenOffset(values);
    record_ = std::move(draft);
  } else if (element == "Correlation" && parent == "HealthData") {
    correlation_ = std::move(draft);
  } else if (element == "Workout" && parent == "HealthData") {
    noteWrittenOffset(values);
    workout_ = std::move(draft);
  } else if (element == "WorkoutActivity" && workout_) {
    ++activityDepth_;
    ++summary_.elementsNotStored[std::string(element)];
  } else if (element == "WorkoutRoute" && workout_) {
    ++routeDepth_;
    ++summary_.elementsNotStored[std::string(element)];
  } else if (element == "WorkoutEvent" && workout_ && activityDepth_ == 0 && routeDepth_ == 0) {
    if (workoutEvents_.size() >= kMaxChildren) return "a workout with too many events";
    event_ = std::move(draft);
  } else if (element == "WorkoutStatistics" && workout_ && activityDepth_ == 0) {
    if (workoutStatistics_.size() >= kMaxChildren) return "a workout with too many statistics";
    workoutStatistics_.push_back(std::move(draft.attributes));
  } else if (element == "MetadataEntry") {
    Draft* owner = event_                                    ? &*event_
                   : (activityDepth_ > 0 || routeDepth_ > 0) ? nullptr
                   : record_                                 ? &*record_
                   : correlation_                            ? &*correlation_
                   : workout_                                ? &*workout_
                                                             : nullptr;
    if (owner == nullptr) {
      ++summary_.elementsNotStored["MetadataEntry in " + std::string(parent)];
    } else {
      if (owner->metadata.size() >= kMaxChildren) return "an element with too much metadata";
      if (values.value("key") == "HKTimeZone")
        ++summary_.timeZoneNames[std::string(values.value("value"))];
      owner->metadata.emplace_back(values.value("key"), values.value("value"));
    }
  } else if (element == "InstantaneousBeatsPerMinute") {
    // HealthKit keeps these as a heartbeat series, which the simulator does not have.
    ++summary_.elementsNotStored[std::string(element)];
    if (!parseTimeOfDay(values.value("time")) || !parseExportNumber(values.value("bpm"))) {
      skip("unreadable heartbeat");
    }
  } else if (element != "HeartRateVariabilityMetadataList") {
    std::string counted(element);
    if (parent != "HealthData") counted += " in " + std::string(parent);
    ++summary_.elementsNotStored[counted];
  }
  recycle(std::move(draft));
  return {};
}

std::string ExportDocument::endElement(const char* name) {
  const std::string_view element = name;
  // Still valid once the element is popped: popping moves no other string.
  const std::string_view parent = path_.size() >= 2 ? path_[path_.size() - 2] : std::string_view();
  path_.pop_back();
  if (element == "Record" && record_) {
    if (parent == "Correlation" && correlation_) {
      if (correlationRecords_.size() >= kMaxChildren) return "a correlation with too many records";
      correlationRecords_.push_back(std::move(*record_));
    } else {
      finishRecord(*record_);
      recycle(std::move(*record_));
    }
    record_.reset();
  } else if (element == "Correlation" && correlation_) {
    finishCorrelation();
  } else if (element == "Workout" && workout_) {
    finishWorkout();
  } else if (element == "WorkoutEvent" && event_) {
    workoutEvents_.push_back(std::move(*event_));
    event_.reset();
  } else if (element == "WorkoutActivity" && activityDepth_ > 0) {
    --activityDepth_;
  } else if (element == "WorkoutRoute" && routeDepth_ > 0) {
    --routeDepth_;
  }
  return {};
}

}  // namespace apple_health_export
