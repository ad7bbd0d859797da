#include "AppleHealthExport/internal/Sha1Blocks.h"

namespace apple_health_export::sha1_blocks {

namespace {

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

}  // namespace

void compressPortable(State& h, const unsigned char* block) {
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

}  // namespace apple_health_export::sha1_blocks
