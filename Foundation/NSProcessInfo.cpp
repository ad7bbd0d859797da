#include "Foundation/NSProcessInfo.h"

#include "Foundation/Platform/PlatformEnvironment.h"

NSProcessInfo& NSProcessInfo::processInfo() {
  static NSProcessInfo info;
  return info;
}

NSOperatingSystemVersion NSProcessInfo::operatingSystemVersion() const {
  return platform::Environment::shared().operatingSystemVersion();
}

bool NSProcessInfo::isOperatingSystemAtLeastVersion(NSOperatingSystemVersion version) const {
  return operatingSystemVersion() >= version;
}
