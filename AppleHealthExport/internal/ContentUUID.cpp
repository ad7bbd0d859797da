#include "AppleHealthExport/internal/ContentUUID.h"

#include <cstring>

namespace apple_health_export {

namespace {

// The namespace every export object's UUID is derived in (itself a random UUID, fixed forever:
// changing it would change every derived UUID).
constexpr std::array<std::uint8_t, 16> kNamespace = {
    0x6f, 0x1c, 0x3a, 0x52, 0x8e, 0x0d, 0x4b, 0x7a, 0x9c, 0x21, 0x55, 0xe3, 0x0a, 0x6b, 0xd4, 0x98};

std::uint32_t rotate(std::uint32_t value, int bits) {
  return (value << bits) | (value >> (32 - bits));
}

}  // namespace

std::array<std::uint8_t, 20> sha1(std::string_view data) {
  std::uint32_t h[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
  std::string message(data);
  const std::uint64_t bits = static_cast<std::uint64_t>(data.size()) * 8;
  message.push_back(static_cast<char>(0x80));
  while (message.size() % 64 != 56) message.push_back('\0');
  for (int i = 7; i >= 0; --i) message.push_back(static_cast<char>((bits >> (i * 8)) & 0xff));
  for (std::size_t block = 0; block < message.size(); block += 64) {
    std::uint32_t w[80];
    for (int i = 0; i < 16; ++i) {
      const auto* p = reinterpret_cast<const unsigned char*>(message.data() + block + i * 4);
      w[i] = (std::uint32_t(p[0]) << 24) | (std::uint32_t(p[1]) << 16) |
             (std::uint32_t(p[2]) << 8) | std::uint32_t(p[3]);
    }
    for (int i = 16; i < 80; ++i) w[i] = rotate(w[i - 3] ^ w[i - 8] ^ w[i - 14] ^ w[i - 16], 1);
    std::uint32_t a = h[0], b = h[1], c = h[2], d = h[3], e = h[4];
    for (int i = 0; i < 80; ++i) {
      std::uint32_t f, k;
      if (i < 20) {
        f = (b & c) | (~b & d), k = 0x5A827999;
      } else if (i < 40) {
        f = b ^ c ^ d, k = 0x6ED9EBA1;
      } else if (i < 60) {
        f = (b & c) | (b & d) | (c & d), k = 0x8F1BBCDC;
      } else {
        f = b ^ c ^ d, k = 0xCA62C1D6;
      }
      const std::uint32_t next = rotate(a, 5) + f + e + k + w[i];
      e = d, d = c, c = rotate(b, 30), b = a, a = next;
    }
    h[0] += a, h[1] += b, h[2] += c, h[3] += d, h[4] += e;
  }
  std::array<std::uint8_t, 20> digest{};
  for (int i = 0; i < 20; ++i)
    digest[i] = static_cast<std::uint8_t>(h[i / 4] >> (24 - 8 * (i % 4)));
  return digest;
}

ContentUUID& ContentUUID::add(std::string_view field) {
  content_ += std::to_string(field.size());
  content_ += ':';
  content_ += field;
  return *this;
}

ContentUUID& ContentUUID::add(const NSUUID& uuid) { return add(uuid.UUIDString()); }

NSUUID ContentUUID::uuid() const {
  std::string named(kNamespace.begin(), kNamespace.end());
  named += content_;
  const auto digest = sha1(named);
  NSUUID::Bytes bytes{};
  std::memcpy(bytes.data(), digest.data(), bytes.size());
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0f) | 0x50);  // version 5
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3f) | 0x80);  // RFC 4122 variant
  return NSUUID(bytes);
}

}  // namespace apple_health_export
