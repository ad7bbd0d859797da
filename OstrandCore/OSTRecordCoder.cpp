#include "OstrandCore/OSTRecordCoder.h"

#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "OstrandCore/OSTFormatter.h"
#include "OstrandCore/OSTIntraDay.h"
#include "OstrandCore/internal/OSTJSONWriter.h"

using nlohmann::ordered_json;

namespace {

const OSTISO8601DateFormatter& dateFormatter() {
  static const auto formatter = OSTFormatter::sharedFormatter()->ISO8601DateTimeFormatter();
  return *formatter;
}

void writeValue(OSTJSONWriter& json, const NSAny& value) {
  if (value.isString()) return json.string(value.stringValue());
  if (value.isDate()) return json.string(dateFormatter().stringFromDate(value.dateValue()));
  const char* type = value.objCType();
  if (type != nullptr && std::strcmp(type, "B") == 0) return json.boolean(value.boolValue());
  if (type != nullptr && std::strcmp(type, "q") == 0) return json.integer(value.integerValue());
  json.number(value.doubleValue());
}

// An intraday series' values: [{"start":..., "end":..., "value":...}, ...] in start order.
void writeValues(OSTJSONWriter& json, const OSTIntraDay& series) {
  json.key("values");
  json.beginArray();
  for (const auto& [start, entry] : series.values()) {
    json.beginObject();
    json.key("start");
    json.string(dateFormatter().stringFromDate(entry.startDate));
    json.key("end");
    json.string(dateFormatter().stringFromDate(entry.endDate));
    json.key("value");
    json.number(entry.value);
    json.endObject();
  }
  json.endArray();
}

// A decoding failure: the JSON pointer of the bad element and what is wrong with it.
struct DecodeError : std::runtime_error {
  DecodeError(const std::string& where, const std::string& what)
      : std::runtime_error("record JSON at " + (where.empty() ? std::string("/") : where) + ": " +
                           what) {}
};

NSAny decodeNumber(const ordered_json& json, const std::string& where) {
  if (json.is_boolean()) return NSAny(json.get<bool>());
  if (json.is_number_integer()) {
    if (json.is_number_unsigned() && json.get<unsigned long long>() > 9223372036854775807ULL) {
      throw DecodeError(where, "integer too large: " + json.dump());
    }
    return NSAny(json.get<long long>());
  }
  if (json.is_number_float()) return NSAny(json.get<double>());
  throw DecodeError(where, "expected a number, found " + std::string(json.type_name()));
}

std::string decodeString(const ordered_json& json, const std::string& where) {
  if (!json.is_string())
    throw DecodeError(where, "expected a string, found " + std::string(json.type_name()));
  return json.get<std::string>();
}

NSDate decodeDate(const ordered_json& json, const std::string& where) {
  const std::string text = decodeString(json, where);
  auto date = dateFormatter().dateFromString(text);
  if (!date) throw DecodeError(where, "not an ISO 8601 date-time: " + ordered_json(text).dump());
  return *date;
}

NSAny decodeValue(const ordered_json& json, OSTPropertyKind kind, const std::string& where) {
  switch (kind) {
    case OSTPropertyKind::Number:
      return decodeNumber(json, where);
    case OSTPropertyKind::String:
      return decodeString(json, where);
    case OSTPropertyKind::Date:
      return decodeDate(json, where);
  }
  return {};
}

// "/extras/a~1b": JSON pointer escaping of a member name.
std::string pointer(const std::string& parent, const std::string& member) {
  std::string escaped;
  for (char c : member) {
    if (c == '~') {
      escaped += "~0";
    } else if (c == '/') {
      escaped += "~1";
    } else {
      escaped += c;
    }
  }
  return parent + "/" + escaped;
}

void decodeIntradayValues(OSTIntraDay& series, const ordered_json& json) {
  if (!json.is_array())
    throw DecodeError("/values", "expected an array, found " + std::string(json.type_name()));
  for (std::size_t i = 0; i < json.size(); ++i) {
    const std::string where = "/values/" + std::to_string(i);
    const ordered_json& entry = json[i];
    if (!entry.is_object())
      throw DecodeError(where, "expected an object, found " + std::string(entry.type_name()));
    for (const auto& [name, member] : entry.items()) {
      if (name != "start" && name != "end" && name != "value") {
        throw DecodeError(pointer(where, name), "unknown field");
      }
    }
    for (const char* field : {"start", "end", "value"}) {
      if (!entry.contains(field))
        throw DecodeError(where, std::string("missing \"") + field + "\"");
    }
    const NSDate start = decodeDate(entry["start"], where + "/start");
    const NSDate end = decodeDate(entry["end"], where + "/end");
    const NSAny value = decodeNumber(entry["value"], where + "/value");
    if (end < start) throw DecodeError(where, "end is before start");
    if (series.values().count(start) != 0)
      throw DecodeError(where + "/start", "a second value for this start");
    series.addValue(value.doubleValue(), start, end);
  }
}

}  // namespace

std::string OSTRecordCoder::JSONFromRecord(const OSTRecord& record) {
  OSTJSONWriter json;
  json.beginObject();
  json.key("kind");
  json.string(OSTRecordTypeName(record.recordType()));
  auto encodeProperties = [&](std::span<const OSTPropertyInfo> properties) {
    for (const auto& property : properties) {
      const NSAny& value = record.propertyValue(property.name);
      if (value.isNil()) continue;
      json.key(property.name);
      writeValue(json, value);
    }
  };
  encodeProperties(OSTRecord::commonProperties());
  encodeProperties(record.ownProperties());
  if (!record.extras().empty()) {
    json.key("extras");
    json.beginObject();
    for (const auto& [key, value] : record.extras()) {
      json.key(key);
      writeValue(json, value);
    }
    json.endObject();
  }
  if (const auto* series = dynamic_cast<const OSTIntraDay*>(&record)) writeValues(json, *series);
  json.endObject();
  return json.take();
}

OSTResult<std::shared_ptr<OSTRecord>> OSTRecordCoder::recordFromJSON(std::string_view text) {
  ordered_json json;
  try {
    json = ordered_json::parse(text);
  } catch (const ordered_json::parse_error& error) {
    // nlohmann's message already says where ("at line 1, column 9"); drop its internal prefix.
    std::string what = error.what();
    const auto start = what.find("parse error");
    return {nullptr, OSTCoreError(OSTCoreErrorInvalidRecord,
                                  "record JSON: " +
                                      (start == std::string::npos ? what : what.substr(start)))};
  }
  try {
    if (!json.is_object())
      throw DecodeError("", "expected an object, found " + std::string(json.type_name()));
    if (!json.contains("kind")) throw DecodeError("", "missing \"kind\"");
    const std::string kindName = decodeString(json["kind"], "/kind");
    const auto kind = OSTRecordTypeFromName(kindName);
    std::shared_ptr<OSTRecord> record = kind ? OSTRecord::newRecordWithType(*kind) : nullptr;
    if (!record) throw DecodeError("/kind", "unknown record kind " + ordered_json(kindName).dump());
    for (const auto& [name, member] : json.items()) {
      const std::string where = pointer("", name);
      if (name == "kind") continue;
      if (name == "extras") {
        if (!member.is_object())
          throw DecodeError(where, "expected an object, found " + std::string(member.type_name()));
        for (const auto& [key, value] : member.items()) {
          const std::string at = pointer(where, key);
          if (value.is_string()) {
            record->setExtraValue(value.get<std::string>(), key);
          } else {
            record->setExtraValue(decodeNumber(value, at), key);
          }
        }
      } else if (name == "values" && kind == OSTRecordTypeIntraday) {
        decodeIntradayValues(static_cast<OSTIntraDay&>(*record), member);
      } else if (const OSTPropertyInfo* property = record->propertyNamed(name)) {
        record->setValue(decodeValue(member, property->kind, where), name);
      } else {
        throw DecodeError(where, "unknown field for a " + kindName + " record");
      }
    }
    return {std::move(record), nullptr};
  } catch (const DecodeError& error) {
    return {nullptr, OSTCoreError(OSTCoreErrorInvalidRecord, error.what())};
  } catch (const std::invalid_argument& error) {
    // A value the record refuses (a number that is not finite cannot come from JSON, but stay
    // safe): report rather than crash.
    return {nullptr,
            OSTCoreError(OSTCoreErrorInvalidRecord, std::string("record JSON: ") + error.what())};
  }
}

OSTResult<std::string> OSTRecordCoder::updatedJSON(std::string_view stored,
                                                   std::string_view newer) {
  auto older = recordFromJSON(stored);
  if (!older.ok()) return {{}, older.error};
  auto update = recordFromJSON(newer);
  if (!update.ok()) return {{}, update.error};
  try {
    older.value->updateWith(*update.value);
  } catch (const std::invalid_argument& error) {  // records of two kinds
    return {{},
            OSTCoreError(OSTCoreErrorInvalidRecord, std::string("record JSON: ") + error.what())};
  }
  return {JSONFromRecord(*older.value), nullptr};
}
