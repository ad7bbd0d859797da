#pragma once

// ReadAccess: what one app may read, as fixed when one of its queries runs, and how the objects
// it reads are shown to it. The host app's reads are limited by its permissions; every other app
// on the simulated device reads everything.
//
// A sample is seen when the app may read its type, or may share the type and saved the sample
// itself. A correlation is governed by its samples, never by its own type (which no app is
// granted): it is seen when at least one of its samples is, and is shown holding only those.
// A sample that belongs to such a correlation is shown leading (through its "correlation" key
// path) to the correlation as shown, so no path leads to a hidden sample.
//
// Immutable; any thread. DeviceState makes one each time the permissions change, and every
// query run until the next change shares it; the read filters keep it.

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKObject.h"

namespace platform::healthkit {

class ReadAccess {
 public:
  struct Permission {
    std::optional<bool> read;
    std::optional<bool> share;
  };
  using Permissions = std::map<std::string, Permission>;  // by type identifier

  // An app whose reads are not limited.
  ReadAccess() = default;
  // The app `reader`, limited to `permissions` (a type not listed is neither read nor shared).
  ReadAccess(std::string reader, Permissions permissions);

  // Whether the app sees the object, which `owner` (a bundle identifier) saved.
  bool sees(const HKObject& object, const std::string& owner) const;
  // The object as the app is shown it: the object itself unless a correlation it is or belongs
  // to holds samples the app may not see; then a copy without them (or that copy's own sample).
  // Copies only then, so reading what hides nothing costs no allocation. Only for objects the
  // app sees.
  std::shared_ptr<const HKObject> shown(const std::shared_ptr<const HKObject>& object,
                                        const std::string& owner) const;

 private:
  bool seesType(const std::string& typeIdentifier, const std::string& owner) const;
  // The correlation without the samples the app may not see, or nullptr when it sees them all.
  HKCorrelation::Pointer withoutHidden(const HKCorrelation& correlation,
                                       const std::string& owner) const;

  bool limited_ = false;
  std::string reader_;
  Permissions permissions_;
};

}  // namespace platform::healthkit
