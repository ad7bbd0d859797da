#include "tools/OstrandTools/Bench/BenchScratchDirectory.h"

#include <stdlib.h>

#include <stdexcept>

namespace ostrand_tools {

BenchScratchDirectory::BenchScratchDirectory() {
  std::string pattern = (std::filesystem::temp_directory_path() / "ostrand-bench-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("cannot make a scratch directory under " +
                             std::filesystem::temp_directory_path().string());
  }
  path_ = pattern;
}

BenchScratchDirectory::~BenchScratchDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void BenchScratchDirectory::removeDatabase(const std::string& path) {
  std::error_code ignored;
  for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path + suffix, ignored);
}

}  // namespace ostrand_tools
