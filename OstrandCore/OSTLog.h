#pragma once

// OSTLog: the core library's log. Lines have a level (0 error, 1 warning, 2 information,
// 3 debug) and are formatted printf-style; a line above the current level is dropped. The engine
// logs at level 2 with formats whose first "%s" is the name of the method that logs; storage
// problems are logged at level 0.
//
// Formats: %s (a string), %@ (any value, by its description), %d %i %ld %lu %u %lld %llu %x
// (integers), %f %g %e (floating point), with flags, width and precision; %% is a percent sign.
// An argument of another kind than its placeholder asks for is written by its description, and
// a missing one as "(missing)": logging never throws.
//
// Lines go to a handler: by default standard error, as "OSTLog[2] text". Tests install their own
// handler to capture lines (see tests/support/LogCapture.h).
//
// Thread-safe: any thread may log; the handler is called under a lock, one line at a time, so
// it must not log itself.
//
//   OSTLog::log(2, "%s Sample Objects recieved: %@", __func__, summary);

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "Foundation/NSAny.h"
#include "Foundation/NSObject.h"

class OSTLog {
 public:
  enum Level : int { Error = 0, Warning = 1, Info = 2, Debug = 3 };
  using Handler = std::function<void(int level, const std::string& line)>;

  // One argument of a line: a string, a number, or any value printed by its description.
  using Argument = std::variant<std::string, long long, unsigned long long, double, NSAny>;

  template <class... Args>
  static void log(int level, std::string_view format, const Args&... args) {
    if (level > OSTLog::level()) return;
    write(level, format, {toArgument(args)...});
  }

  // The format with its arguments filled in (what log() writes).
  static std::string format(std::string_view format, std::initializer_list<Argument> arguments);

  // Lines with a level above this are dropped. Default 2.
  static int level();
  static void setLevel(int level);
  // Replaces the handler; nullptr restores the default (standard error).
  static void setHandler(Handler handler);

 private:
  static void write(int level, std::string_view format, std::initializer_list<Argument> arguments);

  static Argument toArgument(const std::string& value) { return value; }
  static Argument toArgument(std::string_view value) { return std::string(value); }
  static Argument toArgument(const char* value) { return std::string(value ? value : "(null)"); }
  static Argument toArgument(bool value) { return NSAny(value); }
  template <class T>
  requires std::is_integral_v<T> && std::is_signed_v<T>
  static Argument toArgument(T value) { return static_cast<long long>(value); }
  template <class T>
  requires std::is_integral_v<T> && std::is_unsigned_v<T>
  static Argument toArgument(T value) { return static_cast<unsigned long long>(value); }
  static Argument toArgument(double value) { return value; }
  static Argument toArgument(const NSAny& value) { return value; }
  template <class T>
  requires std::derived_from<T, NSObject>
  static Argument toArgument(const std::shared_ptr<T>& object) {
    return object ? NSAny(object->description()) : NSAny("(null)");
  }
  template <class T>
  requires requires(const T& value) { value.description(); }
  static Argument toArgument(const T& value) { return NSAny(value.description()); }
};
