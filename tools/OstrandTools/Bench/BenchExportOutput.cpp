#include "tools/OstrandTools/Bench/BenchExportOutput.h"

#include <charconv>
#include <cmath>

namespace ostrand_tools {

namespace {

constexpr std::size_t kBufferBytes = 1 << 20;

}  // namespace

BenchExportOutput::BenchExportOutput(const std::string& path, const BenchExportZone& zone)
    : file_(path.empty() ? nullptr : std::fopen(path.c_str(), "wb"), &std::fclose),
      zone_(zone),
      counting_(path.empty()) {
  failed_ = !counting_ && !file_;
  buffer_.reserve(kBufferBytes + 4096);
}

BenchExportOutput::~BenchExportOutput() = default;

void BenchExportOutput::flush() {
  if (!counting_ && !failed_ && !buffer_.empty()) {
    failed_ = std::fwrite(buffer_.data(), 1, buffer_.size(), file_.get()) != buffer_.size();
  }
  written_ += buffer_.size();
  buffer_.clear();
}

BenchExportOutput& BenchExportOutput::text(std::string_view text) {
  buffer_.append(text);
  if (buffer_.size() >= kBufferBytes) flush();
  return *this;
}

BenchExportOutput& BenchExportOutput::number(double value) {
  char digits[32];
  // Whole numbers as integers: "72", not "72.0"; others as short as they read back.
  const auto result =
      std::floor(value) == value && std::fabs(value) < 1e15
          ? std::to_chars(digits, digits + sizeof digits, static_cast<long long>(value))
          : std::to_chars(digits, digits + sizeof digits, value);
  return text(std::string_view(digits, static_cast<std::size_t>(result.ptr - digits)));
}

BenchExportOutput& BenchExportOutput::date(std::int64_t moment) {
  char formatted[BenchExportZone::kDateLength];
  zone_.format(moment, formatted);
  return text(std::string_view(formatted, sizeof formatted));
}

BenchExportOutput& BenchExportOutput::dateAttribute(std::string_view name, std::int64_t moment) {
  return text(" ").text(name).text("=\"").date(moment).text("\"");
}

void BenchExportOutput::record(const BenchRecord& record) {
  text(record.indent).text("<Record type=\"").text(record.type).text("\" ").text(record.source);
  if (!record.unit.empty()) text(" unit=\"").text(record.unit).text("\"");
  dateAttribute("creationDate", record.created);
  dateAttribute("startDate", record.start);
  dateAttribute("endDate", record.end);
  text(" value=\"");
  if (record.categoryValue.empty()) {
    number(record.value);
  } else {
    text(record.categoryValue);
  }
  if (record.inner.empty()) {
    text("\"/>\n");
  } else {
    text("\">\n").text(record.inner).text(record.indent).text("</Record>\n");
  }
}

bool BenchExportOutput::close() {
  flush();
  if (file_) failed_ = std::fclose(file_.release()) != 0 || failed_;
  return !failed_;
}

}  // namespace ostrand_tools
