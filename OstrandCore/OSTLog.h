#pragma once

// OSTLog: the core library's log. Lines have a level (0 error, 1 warning, 2 information,
// 3 debug) and are formatted printf-style; a line above the current level is dropped. The engine
// logs at level 2 with formats whose first "%s" is the name of the method that logs; storage
// problems are logged at level 0.
//
// Formats are NSString::stringWithFormat's (%s, %@, integers and floating point with flags,
// width and precision): logging never throws.
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

#include "Foundation/NSString.h"

class OSTLog {
 public:
  enum Level : int { Error = 0, Warning = 1, Info = 2, Debug = 3 };
  using Handler = std::function<void(int level, const std::string& line)>;

  // One argument of a line: a string, a number, or any value printed by its description.
  using Argument = NSString::FormatArgument;

  template <class... Args>
  static void log(int level, std::string_view format, const Args&... args) {
    if (level > OSTLog::level()) return;
    write(level, format, {NSString::formatArgument(args)...});
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
};
