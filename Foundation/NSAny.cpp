#include "Foundation/NSAny.h"

#include <charconv>
#include <cmath>
#include <functional>
#include <stdexcept>

#include "Foundation/NSObject.h"

namespace {

// Numbers are stored as bool, long long or double; these read any of them. `integer` is only
// meaningful when !isFloating (a double need not fit in a long long).
struct NumberView {
  bool isFloating;
  long long integer;
  double floating;
};

std::optional<NumberView> numberOf(const auto& value) {
  if (const bool* b = std::get_if<bool>(&value))
    return NumberView{false, *b ? 1 : 0, *b ? 1.0 : 0.0};
  if (const long long* i = std::get_if<long long>(&value)) {
    return NumberView{false, *i, static_cast<double>(*i)};
  }
  if (const double* d = std::get_if<double>(&value)) {
    return NumberView{true, 0, *d};
  }
  return std::nullopt;
}

template <class T>
NSComparisonResult order(const T& a, const T& b) {
  if (a < b) return NSOrderedAscending;
  if (b < a) return NSOrderedDescending;
  return NSOrderedSame;
}

}  // namespace

NSAny::Kind NSAny::kind() const {
  switch (value_.index()) {
    case 0:
      return Kind::Nil;
    case 1:
    case 2:
    case 3:
      return Kind::Number;
    case 4:
      return Kind::String;
    case 5:
      return Kind::Date;
    default:
      return Kind::Object;
  }
}

std::string NSAny::kindName() const {
  switch (kind()) {
    case Kind::Nil:
      return "nil";
    case Kind::Number:
      return "a number";
    case Kind::String:
      return "a string";
    case Kind::Date:
      return "a date";
    case Kind::Object:
      return "an object of class " + object()->className();
  }
  return "an unknown value";
}

bool NSAny::isNumber() const { return kind() == Kind::Number; }

const char* NSAny::objCType() const {
  if (std::holds_alternative<bool>(value_)) return "B";
  if (std::holds_alternative<long long>(value_)) return "q";
  if (std::holds_alternative<double>(value_)) return "d";
  return nullptr;
}

bool NSAny::boolValue() const {
  auto number = numberOf(value_);
  if (!number) throw std::invalid_argument("NSAny: boolValue of " + kindName());
  return number->isFloating ? number->floating != 0 : number->integer != 0;
}

long long NSAny::integerValue() const {
  auto number = numberOf(value_);
  if (!number) throw std::invalid_argument("NSAny: integerValue of " + kindName());
  if (!number->isFloating) return number->integer;
  // Truncates toward zero; a value no long long can hold is an error, not a wrapped number.
  double truncated = std::trunc(number->floating);
  if (!(truncated >= -9223372036854775808.0 && truncated < 9223372036854775808.0)) {
    throw std::invalid_argument("NSAny: integerValue of " + description() +
                                ", which does not fit in a long long");
  }
  return static_cast<long long>(truncated);
}

double NSAny::doubleValue() const {
  auto number = numberOf(value_);
  if (!number) throw std::invalid_argument("NSAny: doubleValue of " + kindName());
  return number->floating;
}

const std::string& NSAny::stringValue() const {
  if (const auto* s = std::get_if<std::string>(&value_)) return *s;
  throw std::invalid_argument("NSAny: stringValue of " + kindName());
}

NSDate NSAny::dateValue() const {
  if (const auto* d = std::get_if<NSDate>(&value_)) return *d;
  throw std::invalid_argument("NSAny: dateValue of " + kindName());
}

const std::shared_ptr<const NSObject>& NSAny::object() const {
  static const std::shared_ptr<const NSObject> none;
  if (const auto* o = std::get_if<std::shared_ptr<const NSObject>>(&value_)) return *o;
  return none;
}

bool NSAny::isEqual(const NSAny& other) const {
  if (isNumber() && other.isNumber()) return compare(other) == NSOrderedSame;
  if (value_.index() != other.value_.index()) return false;
  if (isObject()) return object() == other.object() || object()->isEqual(*other.object());
  return value_ == other.value_;
}

std::optional<NSComparisonResult> NSAny::compare(const NSAny& other) const {
  auto a = numberOf(value_);
  auto b = numberOf(other.value_);
  if (a && b) {
    if (!a->isFloating && !b->isFloating) return order(a->integer, b->integer);
    // At least one is floating point: compare as doubles (integers beyond 2^53 lose precision,
    // as they do in NSNumber).
    if (std::isnan(a->floating) || std::isnan(b->floating)) return std::nullopt;
    return order(a->floating, b->floating);
  }
  if (value_.index() != other.value_.index()) return std::nullopt;
  if (isString()) return order(stringValue(), other.stringValue());
  if (isDate()) return dateValue().compare(other.dateValue());
  if (isObject()) return object()->compare(*other.object());
  return std::nullopt;  // nil
}

std::size_t NSAny::hash() const {
  if (auto number = numberOf(value_)) {
    // Hashed as a double: numbers that compare equal (2, 2.0, YES and 1) convert to the same
    // double. 0.0 and -0.0 are equal too.
    double d = number->floating == 0 ? 0.0 : number->floating;
    return std::hash<double>{}(d);
  }
  switch (kind()) {
    case Kind::String:
      return std::hash<std::string>{}(stringValue());
    case Kind::Date:
      return std::hash<double>{}(dateValue().timeIntervalSinceReferenceDate());
    case Kind::Object:
      return object()->hash();
    default:
      return 0;
  }
}

std::string NSAny::description() const {
  if (const bool* b = std::get_if<bool>(&value_)) return *b ? "1" : "0";
  if (const long long* i = std::get_if<long long>(&value_)) return std::to_string(*i);
  if (const double* d = std::get_if<double>(&value_)) {
    char buffer[32];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, *d);
    return std::string(buffer, result.ptr);
  }
  switch (kind()) {
    case Kind::String:
      return stringValue();
    case Kind::Date:
      return dateValue().description();
    case Kind::Object:
      return object()->description();
    default:
      return "nil";
  }
}

std::ostream& operator<<(std::ostream& out, const NSAny& value) {
  return out << value.description();
}
