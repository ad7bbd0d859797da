#pragma once

// BenchScratchDirectory: a new, empty directory under the system's temporary directory for the
// bench's databases, removed with everything in it when the object goes.
//
// Main thread only.

#include <filesystem>
#include <string>

namespace ostrand_tools {

class BenchScratchDirectory {
 public:
  BenchScratchDirectory();
  ~BenchScratchDirectory();
  BenchScratchDirectory(const BenchScratchDirectory&) = delete;
  BenchScratchDirectory& operator=(const BenchScratchDirectory&) = delete;

  // A path in the directory for a file of that name (nothing is created).
  std::string file(const std::string& name) const { return (path_ / name).string(); }
  // Removes the database file and its write-ahead log and shared-memory files.
  static void removeDatabase(const std::string& path);

 private:
  std::filesystem::path path_;
};

}  // namespace ostrand_tools
