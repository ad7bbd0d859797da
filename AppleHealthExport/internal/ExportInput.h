#pragma once

// ExportInput: the bytes of an export's main XML file, read in chunks: from export.xml itself,
// from the export.xml of an extracted folder, or straight out of export.zip (the entry is
// decompressed as it is read, never whole). In an archive the main file is the entry named
// export.xml; failing that, the first .xml entry whose start holds the <HealthData root (the
// name follows the phone's language).
//
// Not thread-safe; one per read. Closes what it opened when it goes.
//
//   std::string error;
//   auto input = ExportInput::open(path, error);
//   while (auto n = input->read(buffer, sizeof buffer)) ...

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace apple_health_export {

class ExportInput {
 public:
  virtual ~ExportInput() = default;

  // nullptr with `error` set when the path holds no readable export.
  static std::unique_ptr<ExportInput> open(const std::string& path, std::string& error);

  // Up to `size` bytes; 0 at the end. Negative when the read failed (see error()).
  virtual long long read(char* buffer, std::size_t size) = 0;
  // The size of the XML file in bytes (uncompressed), 0 when unknown.
  virtual std::uint64_t totalBytes() const = 0;
  // How errors name the file: "export.xml", or "export.zip:apple_health_export/export.xml".
  virtual const std::string& name() const = 0;
  virtual std::string error() const = 0;
};

}  // namespace apple_health_export
