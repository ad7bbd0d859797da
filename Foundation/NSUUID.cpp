#include "Foundation/NSUUID.h"

#include <functional>
#include <random>

namespace {

std::mt19937_64& generator() {
  thread_local std::mt19937_64 engine = [] {
    std::random_device device;
    std::seed_seq seed{device(), device(), device(), device()};
    return std::mt19937_64(seed);
  }();
  return engine;
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

constexpr bool isDashPosition(std::size_t i) { return i == 8 || i == 13 || i == 18 || i == 23; }

}  // namespace

NSUUID::NSUUID() {
  auto& engine = generator();
  for (std::size_t i = 0; i < bytes_.size(); i += 8) {
    std::uint64_t random = engine();
    for (std::size_t j = 0; j < 8; ++j)
      bytes_[i + j] = static_cast<std::uint8_t>(random >> (8 * j));
  }
  bytes_[6] = static_cast<std::uint8_t>((bytes_[6] & 0x0F) | 0x40);  // version 4
  bytes_[8] = static_cast<std::uint8_t>((bytes_[8] & 0x3F) | 0x80);  // RFC 4122 variant
}

std::optional<NSUUID> NSUUID::fromString(std::string_view text) {
  if (text.size() != 36) return std::nullopt;
  Bytes bytes{};
  std::size_t byte = 0;
  for (std::size_t i = 0; i < text.size();) {
    if (isDashPosition(i)) {
      if (text[i] != '-') return std::nullopt;
      ++i;
      continue;
    }
    int high = hexValue(text[i]);
    int low = hexValue(text[i + 1]);
    if (high < 0 || low < 0 || isDashPosition(i + 1)) return std::nullopt;
    bytes[byte++] = static_cast<std::uint8_t>(high * 16 + low);
    i += 2;
  }
  return NSUUID(bytes);
}

std::string NSUUID::UUIDString() const {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes_.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += kDigits[bytes_[i] >> 4];
    text += kDigits[bytes_[i] & 0x0F];
  }
  return text;
}

std::size_t std::hash<NSUUID>::operator()(const NSUUID& uuid) const {
  std::size_t seed = 0;
  for (std::uint8_t b : uuid.bytes()) seed = seed * 131 + b;
  return seed;
}
