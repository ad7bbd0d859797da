#pragma once

// SHA-1 (FIPS 180-4), for the name-based UUIDs of ContentUUID only: not for security. Hashes the
// bytes where they lie, padding only the last block, with the processor's SHA instructions where
// it has them (Sha1Blocks.h). Pure; safe from any thread.
//
//   std::array<std::uint8_t, 20> digest = sha1("abc");

#include <array>
#include <cstdint>
#include <string_view>

namespace apple_health_export {

std::array<std::uint8_t, 20> sha1(std::string_view data);

}  // namespace apple_health_export
