#pragma once

// ExportSources: the source revision each object of an export is saved under, from its
// sourceName and sourceVersion attributes and the device it names. Exports name sources but not
// their bundle identifiers, so each source is given one when it is first seen and keeps it for
// the whole export (see the .cpp). Revisions are kept, so the objects of one app version on one
// device share one.
//
// Driven by the reader's one thread.
//
//   ExportSources sources;
//   auto revision = sources.revisionFor(record.attributes, sample->device().get());

#include <map>
#include <string>
#include <unordered_map>

#include "AppleHealthExport/internal/ExportAttributes.h"
#include "HealthKit/HKDevice.h"
#include "HealthKit/HKSourceRevision.h"

namespace apple_health_export {

class ExportSources {
 public:
  HKSourceRevision::Pointer revisionFor(const ExportAttributes& attributes, const HKDevice* device);

 private:
  const std::string& bundleFor(const ExportAttributes& attributes, const HKDevice* device);
  HKSourceRevision::Pointer makeRevision(const ExportAttributes& attributes,
                                         const HKDevice* device);
  // What a revision is made from, as one string: the source, version and device's versions.
  void writeKey(const ExportAttributes& attributes, const HKDevice* device);

  std::map<std::string, std::string, std::less<>> bundles_;               // by source name
  std::unordered_map<std::string, HKSourceRevision::Pointer> revisions_;  // by key
  std::string key_;
};

}  // namespace apple_health_export
