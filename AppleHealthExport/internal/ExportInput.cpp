#include "AppleHealthExport/internal/ExportInput.h"

#include <zip.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace apple_health_export {

namespace {

constexpr std::size_t kProbeBytes = 16 * 1024;

std::string fileName(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

class FileInput final : public ExportInput {
 public:
  FileInput(std::FILE* file, std::string name, std::uint64_t size)
      : file_(file), name_(std::move(name)), size_(size) {}
  ~FileInput() override { std::fclose(file_); }

  long long read(char* buffer, std::size_t size) override {
    const std::size_t got = std::fread(buffer, 1, size, file_);
    if (got == 0 && std::ferror(file_)) {
      error_ = std::strerror(errno);
      return -1;
    }
    return static_cast<long long>(got);
  }
  std::uint64_t totalBytes() const override { return size_; }
  const std::string& name() const override { return name_; }
  std::string error() const override { return error_; }

 private:
  std::FILE* file_;
  std::string name_;
  std::uint64_t size_;
  std::string error_;
};

class ZipEntryInput final : public ExportInput {
 public:
  ZipEntryInput(zip_t* archive, zip_file_t* file, std::string name, std::uint64_t size)
      : archive_(archive), file_(file), name_(std::move(name)), size_(size) {}
  ~ZipEntryInput() override {
    zip_fclose(file_);
    zip_discard(archive_);
  }

  long long read(char* buffer, std::size_t size) override {
    const zip_int64_t got = zip_fread(file_, buffer, size);
    return static_cast<long long>(got);
  }
  std::uint64_t totalBytes() const override { return size_; }
  const std::string& name() const override { return name_; }
  std::string error() const override { return zip_error_strerror(zip_file_get_error(file_)); }

 private:
  zip_t* archive_;
  zip_file_t* file_;
  std::string name_;
  std::uint64_t size_;
};

bool endsWithNoCase(const std::string& text, const std::string& suffix) {
  if (text.size() < suffix.size()) return false;
  for (std::size_t i = 0; i < suffix.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(text[text.size() - suffix.size() + i])) !=
        suffix[i]) {
      return false;
    }
  }
  return true;
}

bool isMainName(const std::string& entry) {
  return endsWithNoCase(entry, "/export.xml") || endsWithNoCase("/" + entry, "/export.xml");
}

// Whether the entry's first bytes hold the <HealthData root.
bool startsAsExport(zip_t* archive, zip_uint64_t index) {
  zip_file_t* file = zip_fopen_index(archive, index, 0);
  if (file == nullptr) return false;
  std::string head(kProbeBytes, '\0');
  const zip_int64_t got = zip_fread(file, head.data(), head.size());
  zip_fclose(file);
  return got > 0 &&
         head.substr(0, static_cast<std::size_t>(got)).find("<HealthData") != std::string::npos;
}

std::unique_ptr<ExportInput> openZip(const std::string& path, std::string& error) {
  int code = 0;
  zip_t* archive = zip_open(path.c_str(), ZIP_RDONLY, &code);
  if (archive == nullptr) {
    zip_error_t zipError;
    zip_error_init_with_code(&zipError, code);
    error = fileName(path) + ": not a readable zip archive (" + zip_error_strerror(&zipError) + ")";
    zip_error_fini(&zipError);
    return nullptr;
  }
  const zip_int64_t count = zip_get_num_entries(archive, 0);
  std::int64_t chosen = -1;
  for (zip_int64_t i = 0; i < count && chosen < 0; ++i) {
    const char* name = zip_get_name(archive, static_cast<zip_uint64_t>(i), 0);
    if (name != nullptr && isMainName(name)) chosen = i;
  }
  for (zip_int64_t i = 0; i < count && chosen < 0; ++i) {
    const char* name = zip_get_name(archive, static_cast<zip_uint64_t>(i), 0);
    if (name != nullptr && endsWithNoCase(name, ".xml") && !endsWithNoCase(name, "_cda.xml") &&
        startsAsExport(archive, static_cast<zip_uint64_t>(i))) {
      chosen = i;
    }
  }
  if (chosen < 0) {
    error = fileName(path) +
            ": the archive holds no export.xml (no entry whose root element is <HealthData>)";
    zip_discard(archive);
    return nullptr;
  }
  const auto index = static_cast<zip_uint64_t>(chosen);
  zip_stat_t stat;
  zip_stat_init(&stat);
  std::uint64_t size = 0;
  if (zip_stat_index(archive, index, 0, &stat) == 0 && (stat.valid & ZIP_STAT_SIZE)) {
    size = stat.size;
  }
  const std::string entryName = zip_get_name(archive, index, 0);
  zip_file_t* file = zip_fopen_index(archive, index, 0);
  if (file == nullptr) {
    error = fileName(path) + ":" + entryName + ": cannot be read (" +
            zip_error_strerror(zip_get_error(archive)) + ")";
    zip_discard(archive);
    return nullptr;
  }
  return std::make_unique<ZipEntryInput>(archive, file, fileName(path) + ":" + entryName, size);
}

}  // namespace

std::unique_ptr<ExportInput> ExportInput::open(const std::string& path, std::string& error) {
  std::error_code ignored;
  std::string xmlPath = path;
  if (std::filesystem::is_directory(path, ignored)) {
    // An extracted export: the folder itself or the one holding apple_health_export/.
    for (const char* candidate : {"export.xml", "apple_health_export/export.xml"}) {
      auto file = std::filesystem::path(path) / candidate;
      if (std::filesystem::is_regular_file(file, ignored)) {
        xmlPath = file.string();
        break;
      }
    }
    if (xmlPath == path) {
      error = path + ": the folder holds no export.xml";
      return nullptr;
    }
  }
  std::FILE* file = std::fopen(xmlPath.c_str(), "rb");
  if (file == nullptr) {
    error = fileName(xmlPath) + ": cannot be opened (" + std::strerror(errno) + ")";
    return nullptr;
  }
  char magic[4] = {};
  const std::size_t got = std::fread(magic, 1, sizeof magic, file);
  if (got == sizeof magic &&
      (std::memcmp(magic, "PK\x03\x04", 4) == 0 || std::memcmp(magic, "PK\x05\x06", 4) == 0)) {
    std::fclose(file);
    return openZip(xmlPath, error);
  }
  std::rewind(file);
  const auto size = std::filesystem::file_size(xmlPath, ignored);
  return std::make_unique<FileInput>(file, fileName(xmlPath), ignored ? 0 : size);
}

}  // namespace apple_health_export
