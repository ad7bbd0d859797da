#include "AppleHealthExport/internal/Sha1.h"

#include <cstring>

#include "AppleHealthExport/internal/Sha1Blocks.h"

namespace apple_health_export {

namespace {

constexpr std::size_t kBlockBytes = 64;

using sha1_blocks::State;

void (*blockFunction())(State&, const unsigned char*) {
  return sha1_blocks::haveShaExtensions() ? &sha1_blocks::compressWithShaExtensions
                                          : &sha1_blocks::compressPortable;
}

}  // namespace

std::array<std::uint8_t, 20> sha1(std::string_view data) {
  static const auto compress = blockFunction();
  State h = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
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
