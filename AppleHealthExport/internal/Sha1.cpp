#include "AppleHealthExport/internal/Sha1.h"

#include <cstring>

namespace apple_health_export {

namespace {

constexpr std::size_t kBlockBytes = 64;

std::uint32_t rotate(std::uint32_t value, int bits) {
  return (value << bits) | (value >> (32 - bits));
}

std::uint32_t bigEndian(const unsigned char* p) {
  return (std::uint32_t(p[0]) << 24) | (std::uint32_t(p[1]) << 16) | (std::uint32_t(p[2]) << 8) |
         std::uint32_t(p[3]);
}

// The message schedule word for round i, kept in a ring of 16.
std::uint32_t schedule(std::uint32_t (&w)[16], int i) {
  if (i < 16) return w[i];
  const std::uint32_t next =
      rotate(w[(i - 3) & 15] ^ w[(i - 8) & 15] ^ w[(i - 14) & 15] ^ w[i & 15], 1);
  w[i & 15] = next;
  return next;
}

void compress(std::uint32_t (&h)[5], const unsigned char* block) {
  std::uint32_t w[16];
  for (int i = 0; i < 16; ++i) w[i] = bigEndian(block + i * 4);
  std::uint32_t a = h[0], b = h[1], c = h[2], d = h[3], e = h[4];
  auto round = [&](std::uint32_t f, std::uint32_t k, std::uint32_t word) {
    const std::uint32_t next = rotate(a, 5) + f + e + k + word;
    e = d, d = c, c = rotate(b, 30), b = a, a = next;
  };
  for (int i = 0; i < 20; ++i) round((b & c) | (~b & d), 0x5A827999, schedule(w, i));
  for (int i = 20; i < 40; ++i) round(b ^ c ^ d, 0x6ED9EBA1, schedule(w, i));
  for (int i = 40; i < 60; ++i) round((b & c) | (b & d) | (c & d), 0x8F1BBCDC, schedule(w, i));
  for (int i = 60; i < 80; ++i) round(b ^ c ^ d, 0xCA62C1D6, schedule(w, i));
  h[0] += a, h[1] += b, h[2] += c, h[3] += d, h[4] += e;
}

}  // namespace

std::array<std::uint8_t, 20> sha1(std::string_view data) {
  std::uint32_t h[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
  const auto* bytes = reinterpret_cast<const unsigned char*>(data.data());
  const std::size_t whole = data.size() / kBlockBytes * kBlockBytes;
  for (std::size_t at = 0; at < whole; at += kBlockBytes) compress(h, bytes + at);
  // The rest, the 0x80 marker and the length in bits fill one or two last blocks.
  unsigned char tail[2 * kBlockBytes] = {};
  const std::size_t rest = data.size() - whole;
  if (rest != 0) std::memcpy(tail, bytes + whole, rest);
  tail[rest] = 0x80;
  const std::size_t tailBytes = rest < kBlockBytes - 8 ? kBlockBytes : 2 * kBlockBytes;
  const std::uint64_t bits = static_cast<std::uint64_t>(data.size()) * 8;
  for (int i = 0; i < 8; ++i) tail[tailBytes - 1 - i] = static_cast<unsigned char>(bits >> (i * 8));
  for (std::size_t at = 0; at < tailBytes; at += kBlockBytes) compress(h, tail + at);
  std::array<std::uint8_t, 20> digest{};
  for (int i = 0; i < 20; ++i)
    digest[i] = static_cast<std::uint8_t>(h[i / 4] >> (24 - 8 * (i % 4)));
  return digest;
}

}  // namespace apple_health_export
