#pragma once

// NSLog: the system log, as Foundation has it. Messages about the platform's own errors go here
// (a refused HealthKit authorization, background delivery that could not be enabled); the
// library's own lines go to the core library's log instead.
//
// The format is NSString::stringWithFormat's: %@ writes the argument's description (an NSError
// as "Error Domain=... Code=..."), %s a string; formatting never throws. Each call writes one
// message.
//
// Messages go to standard error by default, one per line. Tests replace the destination with
// platform::SystemLog::setSink (Foundation/Platform/SystemLog.h), which is not Apple's API.
//
// Thread-safe: any thread may log; messages are written one at a time.
//
//   NSLog("HealthKit Authorization Error: %@", error);

#include <string>
#include <string_view>

#include "Foundation/NSString.h"

namespace ns_log_detail {
// Hands one message to the system log's sink.
void write(const std::string& message);
}  // namespace ns_log_detail

template <class... Args>
void NSLog(std::string_view format, const Args&... args) {
  ns_log_detail::write(NSString::stringWithFormat(format, args...));
}
