#pragma once

// OSTRecord: one piece of a person's health data as the core library uploads it. The base class
// carries what every record has (activity identifier, timestamp, where the data came from,
// whether it was validated, and free-form extras); each subclass (OSTBiometrics, OSTDiabetes,
// OSTWeight, OSTRoutine, OSTNutrition, OSTFitness, OSTSleep, OSTIntraDay) adds its own
// properties.
//
// Records are shared references (std::shared_ptr), filled by one thread and then handed to
// OSTSession::submitRecords(); a record is not thread-safe while it is being changed.
//
//   auto record = OSTRecord::newRecordWithType(OSTRecordTypeWeight);  // an OSTWeight
//   record->setActivityID("2F1C...");
//   record->setValue(72.4, "weight");             // by property name
//   record->setExtraValue(81.5, "lean_body_mass");
//   record->setValue(1, "wieght");                // throws std::invalid_argument
//
// Properties. Every property has a kind: a boxed number (NSAny holding a number; nil when
// unset), a string or a date. setValue() checks the name against the record's own class and the
// value against the property's kind and throws std::invalid_argument naming the class and key
// otherwise: a misspelt name is a programming error and must never be written silently. Nil
// clears a property. Numbers must be finite, since the upload format cannot carry NaN or
// infinities.
//
// Extras are string-keyed numbers, booleans and strings; setting nil removes the entry.
//
// Updating (updateWith): a newer version of a record (the same kind of data under the same
// activity identifier, built again later, perhaps from only part of the data) updates an older
// one member by member: each property and extra the newer one has replaces the older value, and
// what it lacks keeps the older value. A member is never removed this way.
//
// Equality (isEqual): same class, same properties and same extras, where numbers must also be
// boxed the same way (YES, 1 and 1.0 are three different values on the wire) and dates must be
// the same instant exactly. This is the equality a JSON round trip preserves.

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Foundation/NSAny.h"
#include "Foundation/NSDate.h"
#include "OstrandCore/OSTModel.h"
#include "OstrandCore/OSTRecordType.h"

// The value of intermediarySource for records that came through Apple Health.
inline constexpr char kOSTIntermediarySourceAppleHealth[] = "Apple Health";

enum class OSTPropertyKind { Number, String, Date };

struct OSTPropertyInfo {
  std::string_view name;
  OSTPropertyKind kind;
};

class OSTRecord : public OSTModel {
 public:
  using Extras = std::map<std::string, NSAny, std::less<>>;
  // The properties that are set, ordered by name.
  using PropertyValues = std::vector<std::pair<std::string_view, NSAny>>;

  OSTRecord() = default;

  // A new, empty record of the class for that type; nullptr for OSTRecordTypeNone and numbers
  // outside 0...8.
  static std::shared_ptr<OSTRecord> newRecordWithType(OSTRecordType type);

  virtual OSTRecordType recordType() const { return OSTRecordTypeNone; }

  // Common properties.
  std::optional<std::string> activityID() const { return stringValue("activityID"); }
  void setActivityID(std::optional<std::string> value) {
    setStringValue("activityID", std::move(value));
  }
  std::optional<NSDate> timestamp() const { return dateValue("timestamp"); }
  void setTimestamp(std::optional<NSDate> value) { setDateValue("timestamp", value); }
  std::optional<std::string> originalSource() const { return stringValue("originalSource"); }
  void setOriginalSource(std::optional<std::string> value) {
    setStringValue("originalSource", std::move(value));
  }
  std::optional<std::string> sourcePeripheral() const { return stringValue("sourcePeripheral"); }
  void setSourcePeripheral(std::optional<std::string> value) {
    setStringValue("sourcePeripheral", std::move(value));
  }
  std::optional<std::string> intermediarySource() const {
    return stringValue("intermediarySource");
  }
  void setIntermediarySource(std::optional<std::string> value) {
    setStringValue("intermediarySource", std::move(value));
  }
  // A boxed integer or boolean; nil when unknown.
  NSAny validated() const { return numberValue("validated"); }
  void setValidated(NSAny value) { setNumberValue("validated", std::move(value)); }

  // Extras.
  const Extras& extras() const { return extras_; }
  // Sets (or, with nil, removes) one entry. Throws std::invalid_argument for a value that is not
  // a number, boolean or string, or a number that is not finite.
  void setExtraValue(NSAny value, std::string_view key);

  // Key-value coding. setValue throws std::invalid_argument for a key this class does not have
  // and for a value of the wrong kind. valueForKey answers every property (nil when unset) and
  // "extras" (an NSDictionary); any other key throws std::invalid_argument.
  void setValue(NSAny value, std::string_view key);
  NSAny valueForKey(const std::string& key) const override;

  // The properties every record has, and those this record's class adds to them.
  static std::span<const OSTPropertyInfo> commonProperties();
  virtual std::span<const OSTPropertyInfo> ownProperties() const { return {}; }
  // The property of that name, among the common ones and this class's own; nullptr when none.
  const OSTPropertyInfo* propertyNamed(std::string_view name) const;
  // The properties that are set, by name.
  PropertyValues propertyValues() const;
  // The value of the property of that name; nil when unset or when there is none.
  const NSAny& propertyValue(std::string_view name) const;

  // Takes every property and extra that `newer` has (see above); throws std::invalid_argument
  // when `newer` is of another class.
  virtual void updateWith(const OSTRecord& newer);

  bool isEqual(const NSObject& other) const override;
  std::size_t hash() const override;
  std::string description() const override;
  std::string className() const override { return "OSTRecord"; }

 protected:
  NSAny numberValue(std::string_view name) const;
  std::optional<std::string> stringValue(std::string_view name) const;
  std::optional<NSDate> dateValue(std::string_view name) const;
  void setNumberValue(std::string_view name, NSAny value);
  void setStringValue(std::string_view name, std::optional<std::string> value);
  void setDateValue(std::string_view name, std::optional<NSDate> value);

 private:
  void store(const OSTPropertyInfo& property, NSAny value);
  // Where a property of the class's tables keeps its value in slots_: the common ones first, then
  // the class's own, in table order.
  std::size_t slotOf(const OSTPropertyInfo& property) const;
  const NSAny* find(std::string_view name) const;

  // One value per property (nil when unset); empty until the first is set.
  std::vector<NSAny> slots_;
  Extras extras_;
};

// Both nil, or equal values boxed the same way: the equality records use for their values.
bool OSTValuesIdentical(const NSAny& a, const NSAny& b);
