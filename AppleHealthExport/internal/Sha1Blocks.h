#pragma once

// The SHA-1 compression function, which folds one 64-byte block into the hash state: a portable
// one, and one using the x86 SHA extensions (several times faster) for processors that have
// them. sha1() picks one once; both give the same state.
//
// Pure; safe from any thread.

#include <cstdint>

namespace apple_health_export::sha1_blocks {

using State = std::uint32_t[5];

void compressPortable(State& state, const unsigned char* block);

// Whether this processor has the SHA extensions (always false off x86).
bool haveShaExtensions();
// Only where haveShaExtensions().
void compressWithShaExtensions(State& state, const unsigned char* block);

}  // namespace apple_health_export::sha1_blocks
