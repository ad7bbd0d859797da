#pragma once

// NSOperatingSystemVersion: major.minor.patch of the running operating system, ordered
// component by component.

#include <compare>

struct NSOperatingSystemVersion {
  long majorVersion = 0;
  long minorVersion = 0;
  long patchVersion = 0;

  constexpr auto operator<=>(const NSOperatingSystemVersion&) const = default;
};
