#include "tools/OstrandTools/Bench/BenchExportRead.h"

#include <expat.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "AppleHealthExport/AppleHealthExportReader.h"
#include "tools/OstrandTools/Bench/BenchProcessUsage.h"
#include "tools/OstrandTools/Bench/BenchStopwatch.h"

namespace ostrand_tools {

namespace {

class DroppingSink final : public AppleHealthExportSink {
 public:
  void add(const HKSourceRevision::Pointer&, std::shared_ptr<const HKObject>,
           std::optional<NSDate>) override {}
  void remove(const NSUUID&) override {}
};

// Parses the file with expat, in the reader's chunk size, doing nothing with what it finds.
bool plainExpatPass(const std::string& path) {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                       &std::fclose);
  std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate(nullptr),
                                                                 &XML_ParserFree);
  if (!file || !parser) return false;
  XML_SetElementHandler(
      parser.get(), [](void*, const XML_Char*, const XML_Char**) {}, [](void*, const XML_Char*) {});
  std::vector<char> chunk(AppleHealthExportReader::kChunkBytes);
  for (;;) {
    const std::size_t read = std::fread(chunk.data(), 1, chunk.size(), file.get());
    const bool last = read < chunk.size();
    if (XML_Parse(parser.get(), chunk.data(), static_cast<int>(read), last) != XML_STATUS_OK) {
      return false;
    }
    if (last) return true;
  }
}

}  // namespace

std::optional<BenchExportReadResult> BenchExportRead::measure(std::ostream& err) const {
  const std::string& path = path_;
  BenchExportReadResult result{
      .bytes = written_.bytes, .objects = written_.objects, .days = written_.days};
  BenchStopwatch stopwatch;
  if (!plainExpatPass(path)) {
    err << "error: expat could not parse the generated export " << path << "\n";
    return std::nullopt;
  }
  result.expatSeconds = stopwatch.seconds();

  AppleHealthExportReader reader;
  DroppingSink sink;
  stopwatch = BenchStopwatch();
  const auto dropped = reader.read(path, sink);
  result.readSeconds = stopwatch.seconds();
  if (!dropped.succeeded()) {
    err << "error: " << dropped.error->description() << "\n";
    return std::nullopt;
  }

  BenchProcessUsage::returnFreedMemory();
  const auto residentBefore = static_cast<double>(BenchProcessUsage::residentBytes());
  const auto heapBefore = static_cast<double>(BenchProcessUsage::heapInUseBytes());
  result.peakWasReset = BenchProcessUsage::resetPeakResident();
  auto device = platform::SimulatedHealthDevice::create();
  stopwatch = BenchStopwatch();
  const auto stored = reader.read(path, device);
  result.storeSeconds = stopwatch.seconds();
  result.peakGrowthBytes =
      static_cast<double>(BenchProcessUsage::peakResidentBytes()) - residentBefore;
  result.heldBytes = static_cast<double>(BenchProcessUsage::heapInUseBytes()) - heapBefore;
  if (!stored.succeeded()) {
    err << "error: " << stored.error->description() << "\n";
    return std::nullopt;
  }
  return result;
}

}  // namespace ostrand_tools
