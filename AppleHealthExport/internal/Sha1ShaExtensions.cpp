#include "AppleHealthExport/internal/Sha1Blocks.h"

#if defined(__x86_64__) || defined(__i386__)

#include <cpuid.h>
#include <immintrin.h>

#define OST_SHA_TARGET __attribute__((target("sha,sse4.1")))

namespace apple_health_export::sha1_blocks {

namespace {

constexpr unsigned kShaBit = 1u << 29;  // CPUID leaf 7, EBX

// Four rounds: the message words of group `group` (computed from the four before it past the
// first four groups) folded in with round function F.
template <int F>
OST_SHA_TARGET inline void fourRounds(__m128i& abcd, __m128i& e, __m128i& previous, __m128i (&w)[4],
                                      int group) {
  if (group >= 4) {
    __m128i& next = w[group & 3];
    next = _mm_sha1msg2_epu32(
        _mm_xor_si128(_mm_sha1msg1_epu32(next, w[(group + 1) & 3]), w[(group + 2) & 3]),
        w[(group + 3) & 3]);
  }
  if (group > 0) e = _mm_sha1nexte_epu32(previous, w[group & 3]);
  previous = abcd;
  abcd = _mm_sha1rnds4_epu32(abcd, e, F);
}

}  // namespace

bool haveShaExtensions() {
  unsigned a = 0, b = 0, c = 0, d = 0;
  if (!__get_cpuid(1, &a, &b, &c, &d)) return false;
  const bool vectors = (c & bit_SSSE3) != 0 && (c & bit_SSE4_1) != 0;
  if (!__get_cpuid_count(7, 0, &a, &b, &c, &d)) return false;
  return vectors && (b & kShaBit) != 0;
}

OST_SHA_TARGET void compressWithShaExtensions(State& state, const unsigned char* block) {
  const __m128i byteSwap = _mm_set_epi64x(0x0001020304050607LL, 0x08090a0b0c0d0e0fLL);
  __m128i abcd = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(state)), 0x1B);
  const __m128i e0 = _mm_set_epi32(static_cast<int>(state[4]), 0, 0, 0);
  const __m128i abcdBefore = abcd;
  __m128i w[4];
  for (int i = 0; i < 4; ++i) {
    w[i] = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(block + 16 * i)),
                            byteSwap);
  }
  __m128i e = _mm_add_epi32(e0, w[0]);
  __m128i previous = abcd;
  for (int group = 0; group < 5; ++group) fourRounds<0>(abcd, e, previous, w, group);
  for (int group = 5; group < 10; ++group) fourRounds<1>(abcd, e, previous, w, group);
  for (int group = 10; group < 15; ++group) fourRounds<2>(abcd, e, previous, w, group);
  for (int group = 15; group < 20; ++group) fourRounds<3>(abcd, e, previous, w, group);
  e = _mm_sha1nexte_epu32(previous, e0);
  abcd = _mm_add_epi32(abcd, abcdBefore);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(state), _mm_shuffle_epi32(abcd, 0x1B));
  state[4] = static_cast<std::uint32_t>(_mm_extract_epi32(e, 3));
}

}  // namespace apple_health_export::sha1_blocks

#else

namespace apple_health_export::sha1_blocks {

bool haveShaExtensions() { return false; }

void compressWithShaExtensions(State& state, const unsigned char* block) {
  compressPortable(state, block);
}

}  // namespace apple_health_export::sha1_blocks

#endif
