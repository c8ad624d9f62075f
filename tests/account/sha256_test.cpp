#include "account/sha256.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

std::string hex(const std::string& bytes) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string out;
  for (const char byte : bytes) {
    out += kHex[static_cast<unsigned char>(byte) >> 4];
    out += kHex[static_cast<unsigned char>(byte) & 15];
  }
  return out;
}

// FIPS 180-4 examples and the NIST long-message vector.
TEST(Sha256, EmptyMessage) {
  EXPECT_EQ(hex(sha256("")), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(Sha256, OneBlockMessage) {
  EXPECT_EQ(hex(sha256("abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Sha256, TwoBlockMessage) {
  EXPECT_EQ(hex(sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(Sha256, MillionAs) {
  EXPECT_EQ(hex(sha256(std::string(1000000, 'a'))),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256, MessageOfFiftyFiveAndFiftySixBytesPadsAcrossTheBlockEdge) {
  EXPECT_EQ(hex(sha256(std::string(55, 'a'))),
            "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318");
  EXPECT_EQ(hex(sha256(std::string(56, 'a'))),
            "b35439a4ac6f0948b6d6f9e3c6af0f5f590ce20f1bde7090ef7970686ec6738a");
}

// RFC 4231 test cases 1, 2 and 6.
TEST(HmacSha256, ShortKey) {
  EXPECT_EQ(hex(hmacSha256(std::string(20, '\x0b'), "Hi There")),
            "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7");
}

TEST(HmacSha256, TextKey) {
  EXPECT_EQ(hex(hmacSha256("Jefe", "what do ya want for nothing?")),
            "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
}

TEST(HmacSha256, KeyLongerThanABlockIsHashedFirst) {
  EXPECT_EQ(
      hex(hmacSha256(std::string(131, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First")),
      "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
}

}  // namespace
}  // namespace pellum
