#pragma once

// OSTRecordCoder: the JSON form of records, used for upload and for the outbox.
//
// A record is one JSON object: "kind" (the record type's name: "biometrics", "weight",
// "intraday"...), then each property that is set under its own name ("activityID",
// "timestamp", "systolic"...), then "extras" (an object) when there are any, and for an
// OSTIntraDay "values", an array of {"start", "end", "value"} in order of start. Numbers keep how
// they were boxed: a boolean is true/false, an integer has no decimal point, a floating-point
// number always has one ("3.0"). Dates are strings from the shared ISO 8601 formatter, which
// round-trip exactly, so recordFromJSON(JSONFromRecord(r)) isEqual r for every record whose
// strings are valid UTF-8 (a byte that is not is written as U+FFFD, so encoding never throws).
//
// Decoding is strict: anything that is not exactly such an object is an error value of
// kOSTCoreErrorDomain code OSTCoreErrorInvalidRecord that says what was wrong and where, e.g.
// "record JSON at /timestamp: not an ISO 8601 date-time: \"yesterday\"". It never throws.
//
// updatedJSON() is the outbox's update of a stored record by a newer version of it (see
// OSTRecord::updateWith): both texts are decoded, the stored record is updated from the newer
// one and encoded again. A text that cannot be decoded is an error as above, and nothing is
// merged.
//
// Stateless; safe from any thread (a record must not be changed while it is encoded).
//
//   std::string json = OSTRecordCoder::JSONFromRecord(*record);
//   auto decoded = OSTRecordCoder::recordFromJSON(json);  // decoded.value isEqual *record

#include <memory>
#include <string>
#include <string_view>

#include "OstrandCore/OSTError.h"
#include "OstrandCore/OSTRecord.h"

class OSTRecordCoder {
 public:
  static std::string JSONFromRecord(const OSTRecord& record);
  static OSTResult<std::shared_ptr<OSTRecord>> recordFromJSON(std::string_view json);
  // The JSON of the record `stored` updated member by member from `newer` (same kind).
  static OSTResult<std::string> updatedJSON(std::string_view stored, std::string_view newer);
};
