#include "OstrandCore/OSTRecord.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <sstream>
#include <stdexcept>

#include "Foundation/NSDictionary.h"
#include "OstrandCore/OSTBiometrics.h"
#include "OstrandCore/OSTDiabetes.h"
#include "OstrandCore/OSTFitness.h"
#include "OstrandCore/OSTIntraDay.h"
#include "OstrandCore/OSTNutrition.h"
#include "OstrandCore/OSTRoutine.h"
#include "OstrandCore/OSTSleep.h"
#include "OstrandCore/OSTWeight.h"

namespace {

constexpr OSTPropertyInfo kCommonProperties[] = {
    {"activityID", OSTPropertyKind::String},         {"timestamp", OSTPropertyKind::Date},
    {"originalSource", OSTPropertyKind::String},     {"sourcePeripheral", OSTPropertyKind::String},
    {"intermediarySource", OSTPropertyKind::String}, {"validated", OSTPropertyKind::Number},
};

const char* kindName(OSTPropertyKind kind) {
  switch (kind) {
    case OSTPropertyKind::Number:
      return "number";
    case OSTPropertyKind::String:
      return "string";
    case OSTPropertyKind::Date:
      return "date";
  }
  return "?";
}

bool hasKind(const NSAny& value, OSTPropertyKind kind) {
  switch (kind) {
    case OSTPropertyKind::Number:
      return value.isNumber();
    case OSTPropertyKind::String:
      return value.isString();
    case OSTPropertyKind::Date:
      return value.isDate();
  }
  return false;
}

bool isFinite(const NSAny& value) {
  if (value.isNumber()) return std::isfinite(value.doubleValue());
  if (value.isDate()) return std::isfinite(value.dateValue().timeIntervalSinceReferenceDate());
  return true;
}

}  // namespace

bool OSTValuesIdentical(const NSAny& a, const NSAny& b) {
  if (!a.isEqual(b)) return false;
  const char* typeA = a.objCType();
  const char* typeB = b.objCType();
  if (typeA == nullptr || typeB == nullptr) return typeA == typeB;
  return std::strcmp(typeA, typeB) == 0;
}

std::shared_ptr<OSTRecord> OSTRecord::newRecordWithType(OSTRecordType type) {
  switch (type) {
    case OSTRecordTypeBiometrics:
      return std::make_shared<OSTBiometrics>();
    case OSTRecordTypeDiabetes:
      return std::make_shared<OSTDiabetes>();
    case OSTRecordTypeWeight:
      return std::make_shared<OSTWeight>();
    case OSTRecordTypeRoutine:
      return std::make_shared<OSTRoutine>();
    case OSTRecordTypeNutrition:
      return std::make_shared<OSTNutrition>();
    case OSTRecordTypeFitness:
      return std::make_shared<OSTFitness>();
    case OSTRecordTypeSleep:
      return std::make_shared<OSTSleep>();
    case OSTRecordTypeIntraday:
      return std::make_shared<OSTIntraDay>();
    case OSTRecordTypeNone:
      break;
  }
  return nullptr;
}

std::span<const OSTPropertyInfo> OSTRecord::commonProperties() { return kCommonProperties; }

const OSTPropertyInfo* OSTRecord::propertyNamed(std::string_view name) const {
  for (const auto& property : kCommonProperties) {
    if (property.name == name) return &property;
  }
  for (const auto& property : ownProperties()) {
    if (property.name == name) return &property;
  }
  return nullptr;
}

std::size_t OSTRecord::slotOf(const OSTPropertyInfo& property) const {
  const std::span<const OSTPropertyInfo> common = kCommonProperties;
  // std::less orders pointers into different arrays too, which < does not promise.
  const std::less<const OSTPropertyInfo*> before;
  if (!before(&property, common.data()) && before(&property, common.data() + common.size())) {
    return static_cast<std::size_t>(&property - common.data());
  }
  return common.size() + static_cast<std::size_t>(&property - ownProperties().data());
}

const NSAny* OSTRecord::find(std::string_view name) const {
  const OSTPropertyInfo* property = propertyNamed(name);
  if (property == nullptr) return nullptr;
  const std::size_t slot = slotOf(*property);
  return slot < slots_.size() && !slots_[slot].isNil() ? &slots_[slot] : nullptr;
}

const NSAny& OSTRecord::propertyValue(std::string_view name) const {
  static const NSAny nil;
  const NSAny* value = find(name);
  return value ? *value : nil;
}

OSTRecord::PropertyValues OSTRecord::propertyValues() const {
  PropertyValues values;
  auto collect = [&](std::span<const OSTPropertyInfo> properties, std::size_t first) {
    for (std::size_t i = 0; i < properties.size(); ++i) {
      if (first + i < slots_.size() && !slots_[first + i].isNil()) {
        values.emplace_back(properties[i].name, slots_[first + i]);
      }
    }
  };
  collect(kCommonProperties, 0);
  collect(ownProperties(), std::size(kCommonProperties));
  std::sort(values.begin(), values.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  return values;
}

void OSTRecord::store(const OSTPropertyInfo& property, NSAny value) {
  const std::size_t slot = slotOf(property);
  if (value.isNil()) {
    if (slot < slots_.size()) slots_[slot] = NSAny();
    return;
  }
  if (!hasKind(value, property.kind)) {
    throw std::invalid_argument(className() + " property '" + std::string(property.name) +
                                "' takes a " + kindName(property.kind) + ", not " +
                                value.kindName());
  }
  if (!isFinite(value)) {
    throw std::invalid_argument(className() + " property '" + std::string(property.name) +
                                "' must be finite, not " + value.description());
  }
  // Every slot at once, on the first value: one allocation a record.
  if (slots_.empty()) slots_.resize(std::size(kCommonProperties) + ownProperties().size());
  slots_[slot] = std::move(value);
}

void OSTRecord::setValue(NSAny value, std::string_view key) {
  const OSTPropertyInfo* property = propertyNamed(key);
  if (property == nullptr) {
    throw std::invalid_argument("setValue:forKey: " + className() + " has no property '" +
                                std::string(key) + "'");
  }
  store(*property, std::move(value));
}

NSAny OSTRecord::valueForKey(const std::string& key) const {
  if (key == "extras")
    return NSDictionary::dictionaryWithDictionary({extras_.begin(), extras_.end()});
  if (propertyNamed(key) == nullptr) {
    throw std::invalid_argument("valueForKey: " + className() + " has no property '" + key + "'");
  }
  return propertyValue(key);
}

void OSTRecord::setExtraValue(NSAny value, std::string_view key) {
  const auto it = extras_.lower_bound(key);
  const bool present = it != extras_.end() && it->first == key;
  if (value.isNil()) {
    if (present) extras_.erase(it);
    return;
  }
  if (!value.isNumber() && !value.isString()) {
    throw std::invalid_argument("setExtraValue:forKey: " + className() + " extra '" +
                                std::string(key) + "' takes a number, boolean or string, not " +
                                value.kindName());
  }
  if (!isFinite(value)) {
    throw std::invalid_argument("setExtraValue:forKey: " + className() + " extra '" +
                                std::string(key) + "' must be finite, not " + value.description());
  }
  if (present) {
    it->second = std::move(value);
  } else {
    extras_.emplace_hint(it, std::string(key), std::move(value));
  }
}

NSAny OSTRecord::numberValue(std::string_view name) const { return propertyValue(name); }

std::optional<std::string> OSTRecord::stringValue(std::string_view name) const {
  const NSAny* value = find(name);
  if (value == nullptr) return std::nullopt;
  return value->stringValue();
}

std::optional<NSDate> OSTRecord::dateValue(std::string_view name) const {
  const NSAny* value = find(name);
  if (value == nullptr) return std::nullopt;
  return value->dateValue();
}

void OSTRecord::setNumberValue(std::string_view name, NSAny value) {
  setValue(std::move(value), name);
}

void OSTRecord::setStringValue(std::string_view name, std::optional<std::string> value) {
  setValue(value ? NSAny(std::move(*value)) : NSAny(), name);
}

void OSTRecord::setDateValue(std::string_view name, std::optional<NSDate> value) {
  setValue(NSAny(value), name);
}

void OSTRecord::updateWith(const OSTRecord& newer) {
  if (newer.className() != className()) {
    throw std::invalid_argument("updateWith: an " + className() + " cannot be updated from an " +
                                newer.className());
  }
  // The same class has the same slots, so a slot of `newer` is the same property here.
  for (std::size_t slot = 0; slot < newer.slots_.size(); ++slot) {
    if (newer.slots_[slot].isNil()) continue;
    if (slots_.empty()) slots_.resize(newer.slots_.size());
    slots_[slot] = newer.slots_[slot];
  }
  for (const auto& [key, value] : newer.extras_) extras_.insert_or_assign(key, value);
}

namespace {

bool sameExtras(const OSTRecord::Extras& a, const OSTRecord::Extras& b) {
  if (a.size() != b.size()) return false;
  for (auto ia = a.begin(), ib = b.begin(); ia != a.end(); ++ia, ++ib) {
    if (ia->first != ib->first || !OSTValuesIdentical(ia->second, ib->second)) return false;
  }
  return true;
}

// Slots of two records of one class: a slot one record lacks is nil.
bool sameSlots(const std::vector<NSAny>& a, const std::vector<NSAny>& b) {
  static const NSAny nil;
  for (std::size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
    const NSAny& x = i < a.size() ? a[i] : nil;
    const NSAny& y = i < b.size() ? b[i] : nil;
    if (x.isNil() != y.isNil() || (!x.isNil() && !OSTValuesIdentical(x, y))) return false;
  }
  return true;
}

}  // namespace

bool OSTRecord::isEqual(const NSObject& other) const {
  const auto* record = dynamic_cast<const OSTRecord*>(&other);
  return record != nullptr && record->className() == className() &&
         sameSlots(slots_, record->slots_) && sameExtras(extras_, record->extras_);
}

std::size_t OSTRecord::hash() const {
  std::size_t seed = std::hash<std::string>{}(className());
  if (auto id = activityID()) seed ^= std::hash<std::string>{}(*id) + 0x9e3779b9 + (seed << 6);
  return seed;
}

std::string OSTRecord::description() const {
  std::ostringstream out;
  out << "<" << className();
  for (const auto& [name, value] : propertyValues()) {
    out << " " << name << "=" << value.description();
  }
  for (const auto& [name, value] : extras_) out << " extras." << name << "=" << value.description();
  out << ">";
  return out.str();
}
