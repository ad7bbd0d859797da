#pragma once

// TemporaryDirectory: a fresh directory under the system's temporary directory, removed with
// everything in it when the object goes. For tests that need real files (databases).

#include <filesystem>
#include <string>

namespace testing_support {

class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // The path of a file named `name` in the directory.
  std::string file(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

}  // namespace testing_support
