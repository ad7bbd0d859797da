#include "OstrandCore/OSTRecordType.h"

#include <array>

namespace {

constexpr std::array<std::string_view, 9> kNames = {
    "none",      "biometrics", "diabetes", "weight",   "routine",
    "nutrition", "fitness",    "sleep",    "intraday",
};

}  // namespace

std::string_view OSTRecordTypeName(OSTRecordType type) {
  return type < kNames.size() ? kNames[type] : std::string_view();
}

std::optional<OSTRecordType> OSTRecordTypeFromName(std::string_view name) {
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    if (kNames[i] == name) return static_cast<OSTRecordType>(i);
  }
  return std::nullopt;
}
