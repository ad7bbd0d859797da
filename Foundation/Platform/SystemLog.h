#pragma once

// platform::SystemLog: where NSLog's messages go. Standard error by default; tests install a sink
// to capture them (tests/support/SystemLogCapture.h). Not Apple's API: the library never calls
// it.
//
// Thread-safe. The sink is called under a lock, one message at a time, so it must not log
// through NSLog itself.

#include <functional>
#include <string>

namespace platform {

class SystemLog {
 public:
  // Receives one formatted message, without a trailing newline.
  using Sink = std::function<void(const std::string& message)>;

  // Replaces the sink; nullptr restores standard error.
  static void setSink(Sink sink);
};

}  // namespace platform
