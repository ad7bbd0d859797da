#pragma once

// BenchExportOutput: where the export writer's text goes: a file written through a large
// buffer, or nowhere (only counted, to learn how many bytes a day of the person takes). Knows
// the export's shapes: a <Record> with its attributes in the Health app's order, a date in the
// person's zone, a number as short as it reads back.
//
// One writer per output; not thread-safe.
//
//   BenchExportOutput out("/tmp/export.xml", zone);
//   out.record({.type = "HKQuantityTypeIdentifierStepCount", .source = phone, ...});
//   bool written = out.close();

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "tools/OstrandTools/Bench/BenchExportZone.h"

namespace ostrand_tools {

// One <Record> element. A quantity has a unit and a numeric value; a category has no unit and
// its value's name.
struct BenchRecord {
  std::string_view type{};
  std::string_view source{};  // sourceName, sourceVersion and device attributes, ready to write
  std::string_view unit{};
  double value = 0;
  std::string_view categoryValue{};
  std::int64_t start = 0, end = 0, created = 0;
  std::string_view inner{};  // children (MetadataEntry lines), or empty for an empty element
  std::string_view indent = " ";
};

class BenchExportOutput {
 public:
  // An empty path counts the bytes and writes nothing.
  BenchExportOutput(const std::string& path, const BenchExportZone& zone);
  ~BenchExportOutput();
  BenchExportOutput(const BenchExportOutput&) = delete;
  BenchExportOutput& operator=(const BenchExportOutput&) = delete;

  bool ok() const { return !failed_; }
  std::uint64_t bytes() const { return written_ + buffer_.size(); }
  std::uint64_t objects() const { return objects_; }
  // The object just written is one the reader hands on (not a correlation's top-level twin).
  void countObject() { ++objects_; }
  const BenchExportZone& zone() const { return zone_; }

  BenchExportOutput& text(std::string_view text);
  BenchExportOutput& number(double value);
  BenchExportOutput& date(std::int64_t moment);
  // ` name="date"`
  BenchExportOutput& dateAttribute(std::string_view name, std::int64_t moment);
  void record(const BenchRecord& record);

  // Writes what is buffered and closes the file; false when anything could not be written.
  bool close();

 private:
  void flush();

  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
  const BenchExportZone& zone_;
  bool counting_;
  bool failed_ = false;
  std::string buffer_;
  std::uint64_t written_ = 0;
  std::uint64_t objects_ = 0;
};

}  // namespace ostrand_tools
