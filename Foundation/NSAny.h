#pragma once

// NSAny: a dynamic value, the C++ form of the object references this system passes around where
// any of several kinds may appear (predicate arguments, dictionary entries, key-path results).
//
// A value type holding exactly one of: nil, a number (bool, integer or floating point, with
// NSNumber's semantics: numbers compare numerically whatever their kind, so YES == 1 and
// 2 == 2.0), a string, an NSDate, or a shared reference to an immutable NSObject. Thread-safe as
// any value; the objects it refers to must be immutable or thread-safe themselves.
//
//   NSAny value = 42;                      // an integer number
//   value.isEqual(NSAny(42.0));            // true
//   NSAny(std::optional<NSDate>{}).isNil() // a missing date is nil

#include <concepts>
#include <cstddef>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "Foundation/NSDate.h"

class NSObject;

class NSAny {
 public:
  enum class Kind { Nil, Number, String, Date, Object };

  NSAny() = default;
  NSAny(std::nullptr_t) {}
  NSAny(bool value) : value_(value) {}
  template <std::integral T>
  requires(!std::same_as<T, bool>) NSAny(T value) : value_(static_cast<long long>(value)) {}
  template <std::floating_point T>
  NSAny(T value) : value_(static_cast<double>(value)) {}
  // Enumerations box as their raw value, as NSNumber does (never as a bool).
  template <typename E>
  requires std::is_enum_v<E> NSAny(E value)
      : value_(static_cast<long long>(static_cast<std::underlying_type_t<E>>(value))) {}
  // Strings; a const char* is a string, never a bool.
  NSAny(const char* value) : value_(std::string(value)) {}
  NSAny(std::string value) : value_(std::move(value)) {}
  NSAny(std::string_view value) : value_(std::string(value)) {}
  NSAny(NSDate value) : value_(value) {}
  // A missing date is nil.
  NSAny(const std::optional<NSDate>& value) {
    if (value) value_ = *value;
  }
  // A null object is nil.
  template <class T>
  requires std::derived_from<T, NSObject> NSAny(std::shared_ptr<T> object) {
    if (object) value_ = std::shared_ptr<const NSObject>(std::move(object));
  }

  Kind kind() const;
  // "nil", "a number", "a string", "a date" or "an object of class <Class>": for error messages.
  std::string kindName() const;

  bool isNil() const { return std::holds_alternative<std::monostate>(value_); }
  bool isNumber() const;
  // How a number was boxed, as NSNumber tells it: "B" a boolean, "q" an integer, "d" a
  // floating-point number; nullptr when the value is not a number. Lets an encoder keep YES,
  // 1 and 1.0 apart although they compare equal.
  const char* objCType() const;
  bool isString() const { return std::holds_alternative<std::string>(value_); }
  bool isDate() const { return std::holds_alternative<NSDate>(value_); }
  bool isObject() const { return std::holds_alternative<std::shared_ptr<const NSObject>>(value_); }

  // The number as the asked type (a floating-point number is truncated by integerValue(), any
  // non-zero number is true). Each throws std::invalid_argument naming the actual kind when the
  // value is not a number.
  bool boolValue() const;
  long long integerValue() const;
  double doubleValue() const;
  // Throws std::invalid_argument when the value is not a string.
  const std::string& stringValue() const;
  // Throws std::invalid_argument when the value is not a date.
  NSDate dateValue() const;
  // The object, or nullptr when the value is not an object.
  const std::shared_ptr<const NSObject>& object() const;
  // The object as a T, or nullptr when the value is not an object of that class.
  template <class T>
  std::shared_ptr<const T> objectAs() const {
    return std::dynamic_pointer_cast<const T>(object());
  }

  // Equality as Foundation's isEqual: nil equals only nil; numbers numerically; strings exactly;
  // dates as instants; objects by identity or their isEqual. Values of different kinds differ.
  bool isEqual(const NSAny& other) const;
  // The order of two numbers, two strings (byte-wise), two dates or two comparable objects;
  // nullopt for nil, for values of different kinds and for NaN.
  std::optional<NSComparisonResult> compare(const NSAny& other) const;
  // Consistent with isEqual: equal numbers of different kinds hash alike.
  std::size_t hash() const;
  // "nil", "1" (YES, as NSNumber prints it), "42", "2.5", the string itself, the date's
  // description or the object's.
  std::string description() const;

  bool operator==(const NSAny& other) const { return isEqual(other); }

 private:
  std::variant<std::monostate, bool, long long, double, std::string, NSDate,
               std::shared_ptr<const NSObject>>
      value_;
};

std::ostream& operator<<(std::ostream& out, const NSAny& value);

template <>
struct std::hash<NSAny> {
  std::size_t operator()(const NSAny& value) const { return value.hash(); }
};
