#pragma once

// ExportAttributes: one element's attributes as the XML parser reports them, copied into a
// single buffer so they outlive the parser's callback (a Record is built when it ends). An
// export's elements have a handful of attributes, so a name is found by a short scan; a missing
// attribute reads as "". The parser refuses an attribute given twice, so names are unique.
//
// A value; not thread-safe. assign() reuses the buffers it has.
//
//   ExportAttributes attributes(expatAttributes);
//   std::string_view type = attributes.value("type");

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace apple_health_export {

class ExportAttributes {
 public:
  ExportAttributes() = default;
  // expat's list: name, value, name, value, ..., nullptr.
  explicit ExportAttributes(const char** attributes) { assign(attributes); }

  void assign(const char** attributes);
  bool empty() const { return entries_.empty(); }
  bool has(std::string_view name) const { return find(name) != nullptr; }
  std::string_view value(std::string_view name) const;

 private:
  struct Entry {
    std::uint32_t name;  // offsets into text_
    std::uint32_t value;
    std::uint32_t nameSize;
    std::uint32_t valueSize;
  };

  const Entry* find(std::string_view name) const;

  std::string text_;
  std::vector<Entry> entries_;
};

}  // namespace apple_health_export
