#include "AppleHealthExport/internal/ExportAttributes.h"

#include <cstring>

namespace apple_health_export {

void ExportAttributes::assign(const char** attributes) {
  text_.clear();
  entries_.clear();
  for (const char** a = attributes; *a != nullptr; a += 2) {
    const std::size_t nameSize = std::strlen(a[0]);
    const std::size_t valueSize = std::strlen(a[1]);
    const auto name = static_cast<std::uint32_t>(text_.size());
    text_.append(a[0], nameSize);
    const auto value = static_cast<std::uint32_t>(text_.size());
    text_.append(a[1], valueSize);
    entries_.push_back(
        {name, value, static_cast<std::uint32_t>(nameSize), static_cast<std::uint32_t>(valueSize)});
  }
}

const ExportAttributes::Entry* ExportAttributes::find(std::string_view name) const {
  for (const Entry& entry : entries_) {
    if (entry.nameSize == name.size() &&
        std::memcmp(text_.data() + entry.name, name.data(), name.size()) == 0) {
      return &entry;
    }
  }
  return nullptr;
}

std::string_view ExportAttributes::value(std::string_view name) const {
  const Entry* entry = find(name);
  if (entry == nullptr) return {};
  return std::string_view(text_.data() + entry->value, entry->valueSize);
}

}  // namespace apple_health_export
