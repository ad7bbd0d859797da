// libFuzzer entry point for the export reader: every input is written to a scratch file and read
// into a fresh simulated device, as export.zip when it starts like a zip archive and as
// export.xml otherwise. The reader must return (a summary, with or without an error) for every
// input; a crash, a hang, a leak or a sanitizer report is a finding.
//
// Built only by the `fuzz` preset (scripts/fuzz-export.sh); never part of the normal build.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "AppleHealthExport/AppleHealthExportReader.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"

namespace {

// One scratch directory per fuzzing process, removed at exit.
const std::string& scratchDirectory() {
  static const std::string directory = [] {
    std::string pattern = "/tmp/ost-export-fuzz-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    return pattern;
  }();
  return directory;
}

// Built after the directory's name (its constructor asks for it), so destroyed before it.
struct ScratchCleanup {
  ScratchCleanup() { (void)scratchDirectory(); }
  ~ScratchCleanup() {
    std::remove((scratchDirectory() + "/export.xml").c_str());
    std::remove((scratchDirectory() + "/export.zip").c_str());
    rmdir(scratchDirectory().c_str());
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static ScratchCleanup cleanup;
  const bool zip = size >= 4 && data[0] == 'P' && data[1] == 'K' && data[2] == 3 && data[3] == 4;
  const std::string path = scratchDirectory() + (zip ? "/export.zip" : "/export.xml");
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) std::abort();
  if (size > 0 && std::fwrite(data, 1, size, file) != size) std::abort();
  std::fclose(file);

  auto device = platform::SimulatedHealthDevice::create();
  AppleHealthExportReader reader;
  // Small batches and tokens, so the saver's flushes and the token limit are reached by the
  // small inputs the fuzzer works with.
  reader.setBatchSize(3);
  reader.setMaxTokenBytes(4096);
  auto summary = reader.read(path, device);
  if (summary.error) {
    // An error must say where: the file it was reading, at least.
    if (summary.error->file.empty() || summary.error->message.empty()) std::abort();
  }
  device->stopAllQueries();
  std::remove(path.c_str());
  return 0;
}
