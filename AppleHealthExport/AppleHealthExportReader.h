#pragma once

// AppleHealthExportReader: loads a person's "Export All Health Data" file from the Health app
// (export.zip, the extracted folder, or its export.xml) into a simulated device, as the apps that
// wrote the data would have saved it: each record, correlation (blood pressure, food) and
// workout (with its events, metadata and totals) through a store acting as its own source, with
// its device, unit and metadata. For the demo and for syncing a real person's data in tests.
//
// Who: the command-line tool and tests; the simulator only (a phone has no such door).
// Threads: read() runs on the calling thread and returns when everything read is saved; it
//   waits for the stores' completions, so it must not be called on a queue those completions
//   need. One reader may be used for several reads, one at a time.
// Memory: the XML is streamed in chunks (from the zip entry as it decompresses) and objects are
//   saved in batches of batchSize, so the reader holds one chunk, one element and one batch
//   however large the export. No tag, comment or text run may exceed maxTokenBytes, which bounds
//   the parser's buffer too. Duplicate detection keeps a 16-byte UUID per object read (the
//   simulator itself keeps far more per object).
// Untrusted input: the document type declaration is skipped (never validated, an external DTD
//   never loaded), an entity declaration is refused, and only the predefined and numeric
//   character references are expanded.
// Errors: malformed input stops the read with an error naming the file, line and column; what
//   was saved before it stays saved and the summary counts it. Unknown types and units, values
//   HealthKit would refuse and duplicate records are counted in the summary, not fatal.
// Identity: exports carry no UUIDs; each object's UUID is derived from its content (type,
//   source, dates, value, unit, device, metadata), so reading the same export twice into fresh
//   devices gives the same UUIDs.
//
//   AppleHealthExportReader reader;
//   reader.setProgressHandler([](std::uint64_t read, std::uint64_t total) { bar(read, total); });
//   auto summary = reader.read("export.zip", platform::SimulatedHealthDevice::current());
//   if (!summary.succeeded()) std::cerr << summary.error->description() << "\n";

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "AppleHealthExport/AppleHealthExportSink.h"
#include "AppleHealthExport/AppleHealthExportSummary.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"

class AppleHealthExportReader {
 public:
  // (bytes of XML read, total bytes or 0 when unknown); called on the reading thread after each
  // chunk.
  using ProgressHandler = std::function<void(std::uint64_t bytesRead, std::uint64_t totalBytes)>;

  static constexpr std::size_t kDefaultBatchSize = 500;
  static constexpr std::size_t kDefaultMaxTokenBytes = 1 << 20;
  static constexpr std::size_t kChunkBytes = 64 * 1024;

  void setProgressHandler(ProgressHandler handler) { progress_ = std::move(handler); }
  void setBatchSize(std::size_t size) { batchSize_ = size == 0 ? 1 : size; }
  void setMaxTokenBytes(std::size_t bytes) { maxTokenBytes_ = bytes; }
  std::size_t maxTokenBytes() const { return maxTokenBytes_; }

  // Reads the export at `path` into `device`. Never throws for what the file holds.
  AppleHealthExportSummary read(const std::string& path,
                                const std::shared_ptr<platform::SimulatedHealthDevice>& device);
  // Reads the export at `path`, handing each object to `sink` instead of saving it.
  AppleHealthExportSummary read(const std::string& path, AppleHealthExportSink& sink);

 private:
  AppleHealthExportSummary read(const std::string& path,
                                const std::shared_ptr<platform::SimulatedHealthDevice>& device,
                                AppleHealthExportSink* sink);

  ProgressHandler progress_;
  std::size_t batchSize_ = kDefaultBatchSize;
  std::size_t maxTokenBytes_ = kDefaultMaxTokenBytes;
};
