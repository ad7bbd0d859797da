#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>

#include "AppleHealthExport/internal/Sha1.h"
#include "AppleHealthExport/internal/Sha1Blocks.h"

namespace {

std::string hex(const std::array<std::uint8_t, 20>& digest) {
  std::string text;
  char pair[3];
  for (auto byte : digest) {
    std::snprintf(pair, sizeof pair, "%02x", byte);
    text += pair;
  }
  return text;
}

using apple_health_export::sha1;

TEST(Sha1Test, KnownDigests) {
  EXPECT_EQ(hex(sha1("")), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
  EXPECT_EQ(hex(sha1("abc")), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(hex(sha1("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
            "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
  EXPECT_EQ(hex(sha1(std::string(1000000, 'a'))), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
}

TEST(Sha1Test, EveryLengthAroundTheBlockEdges) {
  // 55 bytes leave room for the length in the last block; 56 to 63 need a second one.
  EXPECT_EQ(hex(sha1(std::string(55, 'a'))), "c1c8bbdc22796e28c0e15163d20899b65621d65a");
  EXPECT_EQ(hex(sha1(std::string(56, 'a'))), "c2db330f6083854c99d4b5bfb6e8f29f201be699");
  EXPECT_EQ(hex(sha1(std::string(64, 'a'))), "0098ba824b5c16427bd7a1122a5a442a25ec644d");
}

TEST(Sha1Test, ShaExtensionsFoldBlocksAsThePortableCode) {
  namespace blocks = apple_health_export::sha1_blocks;
  if (!blocks::haveShaExtensions()) GTEST_SKIP() << "this processor has no SHA extensions";
  std::mt19937 random(11);
  for (int trial = 0; trial < 2000; ++trial) {
    unsigned char block[64];
    for (auto& byte : block) byte = static_cast<unsigned char>(random());
    blocks::State portable, extended;
    for (int i = 0; i < 5; ++i) portable[i] = extended[i] = static_cast<std::uint32_t>(random());
    blocks::compressPortable(portable, block);
    blocks::compressWithShaExtensions(extended, block);
    ASSERT_EQ(std::memcmp(portable, extended, sizeof portable), 0) << "trial " << trial;
  }
}

}  // namespace
