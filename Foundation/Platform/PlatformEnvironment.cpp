#include "Foundation/Platform/PlatformEnvironment.h"

#include <chrono>
#include <cstdlib>

namespace platform {

NSDate SystemClock::now() const {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return NSDate::dateWithTimeIntervalSince1970(std::chrono::duration<double>(sinceEpoch).count());
}

Environment& Environment::shared() {
  static Environment environment;
  return environment;
}

Environment::Environment() : clock_(std::make_shared<SystemClock>()) {}

NSDate Environment::now() const {
  std::shared_ptr<const Clock> clock;
  {
    std::lock_guard lock(mutex_);
    clock = clock_;
  }
  return clock->now();
}

void Environment::setClock(std::shared_ptr<const Clock> clock) {
  std::lock_guard lock(mutex_);
  clock_ = clock ? std::move(clock) : std::make_shared<SystemClock>();
}

NSOperatingSystemVersion Environment::operatingSystemVersion() const {
  std::lock_guard lock(mutex_);
  return version_;
}

void Environment::setOperatingSystemVersion(NSOperatingSystemVersion version) {
  std::lock_guard lock(mutex_);
  version_ = version;
}

std::shared_ptr<NSTimeZone> Environment::timeZone() const {
  std::lock_guard lock(mutex_);
  return timeZone_;
}

void Environment::setTimeZone(std::shared_ptr<NSTimeZone> zone) {
  std::lock_guard lock(mutex_);
  timeZone_ = std::move(zone);
}

std::optional<std::string> Environment::processTimeZoneSetting() {
  const char* setting = std::getenv("TZ");
  if (setting == nullptr || *setting == '\0') return std::nullopt;
  return std::string(setting[0] == ':' ? setting + 1 : setting);
}

void Environment::reset() {
  std::lock_guard lock(mutex_);
  timeZone_.reset();
  clock_ = std::make_shared<SystemClock>();
  version_ = kDefaultOperatingSystemVersion;
}

}  // namespace platform
