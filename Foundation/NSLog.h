#pragma once

// NSLog: the system log, as Foundation has it. Messages about the platform's own errors go here
// (a refused HealthKit authorization, background delivery that could not be enabled); the
// library's own lines go to the core library's log instead.
//
// The format is printf-style: %@ writes the argument's description (an NSObject held by
// shared_ptr, nullptr as "(null)", an NSAny, or any value with description()), %s a string,
// %d %i %u %ld %lu %lld %llu %zu %f %g a number (in its shortest form: flags, width and
// precision are accepted and ignored), %% a percent sign. An argument of another kind than its
// placeholder asks for is written by its description, a missing one as "(missing)": logging
// never throws. Each call writes one message.
//
// Messages go to standard error by default, one per line. Tests replace the destination with
// platform::SystemLog::setSink (Foundation/Platform/SystemLog.h), which is not Apple's API.
//
// Thread-safe: any thread may log; messages are written one at a time.
//
//   NSLog("HealthKit Authorization Error: %@", error);

#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Foundation/NSAny.h"
#include "Foundation/NSObject.h"

namespace ns_log_detail {

// Every argument becomes its text before formatting: strings as they are, numbers in their
// shortest form, objects by their description.
inline std::string text(const std::string& value) { return value; }
inline std::string text(std::string_view value) { return std::string(value); }
inline std::string text(const char* value) { return value ? value : "(null)"; }
inline std::string text(bool value) { return value ? "YES" : "NO"; }
inline std::string text(const NSAny& value) { return value.description(); }
template <class T>
requires std::is_arithmetic_v<T> std::string text(T value) { return NSAny(value).description(); }
template <class T>
requires std::derived_from<T, NSObject> std::string text(const std::shared_ptr<T>& object) {
  return object ? object->description() : "(null)";
}
template <class T>
requires requires(const T& value) { value.description(); }
std::string text(const T& value) { return value.description(); }

// The message: the format with the arguments' texts in place of its placeholders.
std::string format(std::string_view format, const std::vector<std::string>& arguments);
// Hands the message to the current sink.
void write(const std::string& message);

}  // namespace ns_log_detail

template <class... Args>
void NSLog(std::string_view format, const Args&... args) {
  ns_log_detail::write(ns_log_detail::format(format, {ns_log_detail::text(args)...}));
}
