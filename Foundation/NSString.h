#pragma once

// NSString: only what the library needs of it, stringWithFormat (strings themselves are
// std::string). The system log (NSLog) and the core library's log format their lines with it.
//
// Formats: %s (a string), %@ (any value, by its description), %d %i %ld %lu %u %lld %llu %x
// (integers), %f %g %e (floating point), with flags, width and precision; %% is a percent sign.
// An argument of another kind than its placeholder asks for is written by its description, a
// missing one as "(missing)", and a placeholder of an unknown conversion is kept as written:
// formatting never throws. A null object is written as "(null)".
//
// Pure functions, safe from any thread.
//
//   NSString::stringWithFormat("%s took %.1f s: %@", "fetch", 2.25, error);
//       // "fetch took 2.2 s: Error Domain=..."

#include <concepts>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "Foundation/NSAny.h"
#include "Foundation/NSObject.h"

class NSString {
 public:
  // One argument of a format: a string, a number, or any value printed by its description.
  using FormatArgument = std::variant<std::string, long long, unsigned long long, double, NSAny>;

  template <class... Args>
  static std::string stringWithFormat(std::string_view format, const Args&... args) {
    return stringWithFormatArguments(format, {formatArgument(args)...});
  }
  // The same with arguments already converted (formatArgument).
  static std::string stringWithFormatArguments(std::string_view format,
                                               std::initializer_list<FormatArgument> arguments);

  // A value as a format argument.
  static FormatArgument formatArgument(const std::string& value) { return value; }
  static FormatArgument formatArgument(std::string_view value) { return std::string(value); }
  static FormatArgument formatArgument(const char* value) {
    return std::string(value ? value : "(null)");
  }
  static FormatArgument formatArgument(bool value) { return NSAny(value); }
  template <class T>
  requires std::is_integral_v<T> && std::is_signed_v<T>
  static FormatArgument formatArgument(T value) { return static_cast<long long>(value); }
  template <class T>
  requires std::is_integral_v<T> && std::is_unsigned_v<T>
  static FormatArgument formatArgument(T value) { return static_cast<unsigned long long>(value); }
  static FormatArgument formatArgument(double value) { return value; }
  static FormatArgument formatArgument(const NSAny& value) { return value; }
  template <class T>
  requires std::derived_from<T, NSObject>
  static FormatArgument formatArgument(const std::shared_ptr<T>& object) {
    return object ? NSAny(object->description()) : NSAny("(null)");
  }
  template <class T>
  requires requires(const T& value) { value.description(); }
  static FormatArgument formatArgument(const T& value) { return NSAny(value.description()); }
};
