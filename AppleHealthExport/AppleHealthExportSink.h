#pragma once

// AppleHealthExportSink: where the export reader hands the objects it builds when they are not
// to be saved into a device at once. A tool that replays a person's history keeps them and
// saves each into HealthKit later, at the moment its app would have saved it.
//
// The reader calls it on its own thread, in the order it reads the export; every object comes
// with the revision of the app that wrote it. A correlation's members can have been handed over
// earlier as top-level records: remove() takes such a record back (the app saved it once, inside
// the correlation). `creationDate` is when HealthKit on the phone saved the object, as the
// export's creationDate says; nullopt when the element has none or it cannot be read.

#include <memory>

#include <optional>

#include "Foundation/NSDate.h"
#include "Foundation/NSUUID.h"
#include "HealthKit/HKObject.h"
#include "HealthKit/HKSourceRevision.h"

class AppleHealthExportSink {
 public:
  virtual ~AppleHealthExportSink() = default;
  virtual void add(const HKSourceRevision::Pointer& revision,
                   std::shared_ptr<const HKObject> object,
                   std::optional<NSDate> creationDate) = 0;
  virtual void remove(const NSUUID& uuid) = 0;
};
