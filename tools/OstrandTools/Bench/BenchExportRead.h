#pragma once

// BenchExportRead: reading a large generated export (BenchExportWriter). Measured, each once:
// - a plain expat pass over the file, with handlers that do nothing (the baseline: what any
//   reader of the file pays at least);
// - the export reader over the same file, handing every object to a sink that drops it: parsing,
//   checking and building HealthKit objects;
// - the export reader saving every object into a fresh simulated device: peak memory growth
//   (VmHWM reset just before) over the objects stored, and the heap the device holds for them
//   once the reader is gone. The peak includes what the reader keeps while it reads: the UUIDs
//   it has seen, to drop a record the export repeats.
//
// Main thread only; the caller writes the file and removes it.
//
//   auto result = BenchExportRead(path, *BenchExportWriter::write(path, 1 << 30)).measure(err);

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

#include "tools/OstrandTools/Bench/BenchExportWriter.h"

namespace ostrand_tools {

struct BenchExportReadResult {
  std::uint64_t bytes = 0;
  std::uint64_t objects = 0;
  int days = 0;
  double writeSeconds = 0;  // the writer's, measured by the caller
  double expatSeconds = 0;
  double readSeconds = 0;      // into a sink that drops every object
  double storeSeconds = 0;     // into a simulated device
  double peakGrowthBytes = 0;  // VmHWM after storing minus VmRSS before
  double heldBytes = 0;        // heap in use while the device holds the export, minus before
  bool peakWasReset = false;
};

class BenchExportRead {
 public:
  BenchExportRead(std::string path, const BenchExportWriter::Written& written)
      : path_(std::move(path)), written_(written) {}

  std::optional<BenchExportReadResult> measure(std::ostream& err) const;

 private:
  std::string path_;
  BenchExportWriter::Written written_;
};

}  // namespace ostrand_tools
