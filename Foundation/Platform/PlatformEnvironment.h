#pragma once

// platform::Environment: the one place through which the library reads the world around it:
// the current moment, the operating-system version and the time zone the device is set to. (The
// main and worker queues live in Dispatch.h, the application and device in HealthKit's UIKit
// pieces.)
//
// Process-wide and thread-safe. On a device it holds the system clock and the running iOS
// version; tests replace the clock with a manual one and pin the version, then restore the
// defaults with reset(). The default version on Linux is iOS 17.0.0. The default time zone is
// the process's (TZ); a tool replaying a person's data sets the zone that person lived in, and
// NSTimeZone::systemTimeZone() (so every new calendar) answers it from then on.
//
//   platform::Environment::shared().setClock(std::make_shared<ManualClock>(start));
//   platform::Environment::shared().setOperatingSystemVersion({10, 3, 0});

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Foundation/NSDate.h"
#include "Foundation/NSOperatingSystemVersion.h"
#include "Foundation/NSTimeZone.h"

namespace platform {

// Tells the current moment. Implementations must be safe to call from any thread.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual NSDate now() const = 0;
};

// The real wall clock.
class SystemClock final : public Clock {
 public:
  NSDate now() const override;
};

class Environment {
 public:
  static constexpr NSOperatingSystemVersion kDefaultOperatingSystemVersion{17, 0, 0};

  static Environment& shared();

  NSDate now() const;
  // Replaces the clock; nullptr restores the system clock.
  void setClock(std::shared_ptr<const Clock> clock);

  NSOperatingSystemVersion operatingSystemVersion() const;
  void setOperatingSystemVersion(NSOperatingSystemVersion version);

  // The zone the device is set to; nullptr while the process's zone (TZ) is used.
  std::shared_ptr<NSTimeZone> timeZone() const;
  // Sets the device's zone; nullptr goes back to the process's.
  void setTimeZone(std::shared_ptr<NSTimeZone> zone);

  // What the process's TZ variable says, nullopt when it is unset or empty (the zone the
  // machine is set to then applies).
  static std::optional<std::string> processTimeZoneSetting();

  // The system clock, the default operating-system version and the process's zone again.
  void reset();

 private:
  Environment();

  mutable std::mutex mutex_;  // guards clock_, version_ and timeZone_
  std::shared_ptr<const Clock> clock_;
  std::shared_ptr<NSTimeZone> timeZone_;
  NSOperatingSystemVersion version_ = kDefaultOperatingSystemVersion;
};

}  // namespace platform
