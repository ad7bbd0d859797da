#pragma once

// NSProcessInfo: facts about the running process. Here only the operating-system version test
// that gates features by platform release; the version comes from platform::Environment, so
// tests choose it. Thread-safe.
//
//   if (NSProcessInfo::processInfo().isOperatingSystemAtLeastVersion({11, 0, 0})) { ... }

#include "Foundation/NSOperatingSystemVersion.h"

class NSProcessInfo {
 public:
  static NSProcessInfo& processInfo();

  NSOperatingSystemVersion operatingSystemVersion() const;
  bool isOperatingSystemAtLeastVersion(NSOperatingSystemVersion version) const;

 private:
  NSProcessInfo() = default;
};
