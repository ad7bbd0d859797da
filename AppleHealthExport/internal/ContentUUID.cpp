#include "AppleHealthExport/internal/ContentUUID.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>

#include "AppleHealthExport/internal/Sha1.h"

namespace apple_health_export {

namespace {

// The namespace every export object's UUID is derived in (itself a random UUID, fixed forever:
// changing it would change every derived UUID).
constexpr std::array<std::uint8_t, 16> kNamespace = {
    0x6f, 0x1c, 0x3a, 0x52, 0x8e, 0x0d, 0x4b, 0x7a, 0x9c, 0x21, 0x55, 0xe3, 0x0a, 0x6b, 0xd4, 0x98};

}  // namespace

ContentUUID::ContentUUID(std::string_view kind) {
  content_.reserve(512);
  content_.assign(kNamespace.begin(), kNamespace.end());
  add(kind);
}

ContentUUID& ContentUUID::add(std::string_view field) {
  char length[24];
  const auto written = std::to_chars(length, length + sizeof length, field.size()).ptr;
  content_.append(length, written);
  content_ += ':';
  content_ += field;
  return *this;
}

ContentUUID& ContentUUID::add(const NSUUID& uuid) { return add(uuid.UUIDString()); }

NSUUID ContentUUID::uuid() const {
  const auto digest = sha1(content_);
  NSUUID::Bytes bytes{};
  std::memcpy(bytes.data(), digest.data(), bytes.size());
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0f) | 0x50);  // version 5
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3f) | 0x80);  // RFC 4122 variant
  return NSUUID(bytes);
}

}  // namespace apple_health_export
