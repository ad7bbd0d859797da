#pragma once

// NSUUID: a universally unique identifier, as a value.
//
// A default-constructed NSUUID is a new random (version 4, RFC 4122 variant) identifier; the
// random generator is seeded once per thread from std::random_device. Thread-safe as any value.
//
//   NSUUID id;                                 // fresh and random
//   auto same = NSUUID::fromString(id.UUIDString());  // *same == id

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

class NSUUID {
 public:
  using Bytes = std::array<std::uint8_t, 16>;

  // A new random identifier.
  NSUUID();
  explicit NSUUID(const Bytes& bytes) : bytes_(bytes) {}

  // Apple's [NSUUID UUID]: the same as NSUUID().
  static NSUUID UUID() { return NSUUID(); }
  // Parses "E621E1F8-C36C-495A-93FC-0C247A3E6E5F" in either case; nullopt for anything else.
  static std::optional<NSUUID> fromString(std::string_view text);

  // Upper case, 8-4-4-4-12 hexadecimal digits.
  std::string UUIDString() const;
  const Bytes& bytes() const { return bytes_; }

  auto operator<=>(const NSUUID&) const = default;
  bool operator==(const NSUUID&) const = default;

 private:
  Bytes bytes_;
};

template <>
struct std::hash<NSUUID> {
  std::size_t operator()(const NSUUID& uuid) const;
};
