#pragma once

// HKSourceRevision: a source at one version, on one kind of device and operating system: which
// build of which application (or watch) wrote an object.
//
// Immutable and shared; safe to use from any thread. Equal when all four parts are equal.
//
//   auto revision = HKSourceRevision::sourceRevisionWithSource(
//       watch, "10.2", "Watch6,7", NSOperatingSystemVersion{10, 2, 0});

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "Foundation/NSObject.h"
#include "Foundation/NSOperatingSystemVersion.h"
#include "HealthKit/HKSource.h"

class HKSourceRevision : public NSObject {
 public:
  using Pointer = std::shared_ptr<const HKSourceRevision>;

  // Throws std::invalid_argument when `source` is null.
  static Pointer sourceRevisionWithSource(HKSource::Pointer source,
                                          std::optional<std::string> version,
                                          std::optional<std::string> productType,
                                          NSOperatingSystemVersion operatingSystemVersion);
  static Pointer sourceRevisionWithSource(HKSource::Pointer source,
                                          std::optional<std::string> version);

  const HKSource::Pointer& source() const { return source_; }
  const std::optional<std::string>& version() const { return version_; }
  const std::optional<std::string>& productType() const { return productType_; }
  NSOperatingSystemVersion operatingSystemVersion() const { return operatingSystemVersion_; }

  bool isEqual(const NSObject& other) const override;
  std::size_t hash() const override { return source_->hash(); }
  std::string description() const override;
  std::string className() const override { return "HKSourceRevision"; }
  // Keys "source", "version" and "productType" (nil when missing).
  NSAny valueForKey(const std::string& key) const override;

 private:
  HKSourceRevision(HKSource::Pointer source, std::optional<std::string> version,
                   std::optional<std::string> productType, NSOperatingSystemVersion os)
      : source_(std::move(source)),
        version_(std::move(version)),
        productType_(std::move(productType)),
        operatingSystemVersion_(os) {}

  HKSource::Pointer source_;
  std::optional<std::string> version_;
  std::optional<std::string> productType_;
  NSOperatingSystemVersion operatingSystemVersion_;
};
