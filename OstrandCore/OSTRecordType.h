#pragma once

// OSTRecordType: the core library's number for a kind of record. Passed to
// OSTRecord::newRecordWithType() and used as the key of fetch results. The numbers are part of
// the upload format and never change.
//
// OSTRecordTypeName() gives the stable name a record's JSON carries as its "kind"; it and
// OSTRecordTypeFromName() are pure functions, safe from any thread.

#include <optional>
#include <string_view>

#include "Foundation/NSObjCRuntime.h"

enum OSTRecordType : NSUInteger {
  OSTRecordTypeNone = 0,
  OSTRecordTypeBiometrics = 1,
  OSTRecordTypeDiabetes = 2,
  OSTRecordTypeWeight = 3,
  OSTRecordTypeRoutine = 4,
  OSTRecordTypeNutrition = 5,
  OSTRecordTypeFitness = 6,
  OSTRecordTypeSleep = 7,
  OSTRecordTypeIntraday = 8,
};

// "none", "biometrics", "diabetes", "weight", "routine", "nutrition", "fitness", "sleep",
// "intraday"; "" for a number outside 0...8.
std::string_view OSTRecordTypeName(OSTRecordType type);
// The type with that name; nullopt for any other string (names are case-sensitive).
std::optional<OSTRecordType> OSTRecordTypeFromName(std::string_view name);
