#include "AppleHealthExport/internal/ExportAttributes.h"

#include <cstring>

namespace apple_health_export {

void ExportAttributes::assign(const char** attributes) {
  entries_.clear();
  std::uint32_t bytes = 0;
  for (const char** a = attributes; *a != nullptr; a += 2) {
    const auto nameSize = static_cast<std::uint32_t>(std::strlen(a[0]));
    const auto valueSize = static_cast<std::uint32_t>(std::strlen(a[1]));
    entries_.push_back({bytes, bytes + nameSize, nameSize, valueSize});
    bytes += nameSize + valueSize;
  }
  text_.resize(bytes);
  char* out = text_.data();
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    std::memcpy(out + entries_[i].name, attributes[2 * i], entries_[i].nameSize);
    std::memcpy(out + entries_[i].value, attributes[2 * i + 1], entries_[i].valueSize);
  }
}

const ExportAttributes::Entry* ExportAttributes::find(std::string_view name) const {
  for (const Entry& entry : entries_) {
    if (entry.nameSize != name.size()) continue;
    // Many names are as long as another ("type", "unit"): the first byte tells most apart.
    const char* text = text_.data() + entry.name;
    if (name.empty() || (text[0] == name[0] && std::memcmp(text, name.data(), name.size()) == 0)) {
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
