#include "base/crypto.h"

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
  EXPECT_EQ(hex(sha256(std::string_view{})),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
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

TEST(Sha256, EmptyMessageAsBase64Url) {
  EXPECT_EQ(base64UrlEncode(sha256("")), "47DEQpj8HBSa-_TImW-5JCeuQeRkm5NMpJWZG3hSuFU");
}

// RFC 7636, Appendix B: the S256 challenge of the example verifier.
TEST(Sha256, Rfc7636AppendixBChallenge) {
  EXPECT_EQ(base64UrlEncode(sha256("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk")),
            "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM");
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

// An empty key is a valid HMAC key; an empty view may carry no pointer at all.
TEST(HmacSha256, EmptyKeyAndMessage) {
  const std::string expected = "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad";
  EXPECT_EQ(hex(hmacSha256("", "")), expected);
  EXPECT_EQ(hex(hmacSha256(std::string_view{}, std::string_view{})), expected);
}

struct Base64Case {
  const char* name;
  std::string bytes;
  std::string encoded;
};

class Base64UrlTest : public ::testing::TestWithParam<Base64Case> {};

TEST_P(Base64UrlTest, Encodes) { EXPECT_EQ(base64UrlEncode(GetParam().bytes), GetParam().encoded); }

// RFC 7636, Appendix B: the octets of the example verifier.
const unsigned char kRfc7636VerifierOctets[] = {116, 24,  223, 180, 151, 153, 224, 37,  79,  250, 96,
                                                125, 216, 173, 187, 186, 22,  212, 37,  77,  105, 214,
                                                191, 240, 91,  88,  5,   88,  83,  132, 141, 121};

INSTANTIATE_TEST_SUITE_P(
    Cases, Base64UrlTest,
    ::testing::Values(Base64Case{"Empty", "", ""}, Base64Case{"OneByteDropsTwoPads", "f", "Zg"},
                      Base64Case{"TwoBytesDropOnePad", "fo", "Zm8"},
                      Base64Case{"ThreeBytesNoPad", "foo", "Zm9v"},
                      Base64Case{"PlusBecomesDash", std::string("\xfb\xef", 2), "--8"},
                      Base64Case{"SlashBecomesUnderscore", std::string("\xff\xff", 2), "__8"},
                      Base64Case{"DashAndUnderscoreTogether", std::string("\xfb\xff", 2), "-_8"},
                      Base64Case{"ZeroBytes", std::string(16, '\0'), "AAAAAAAAAAAAAAAAAAAAAA"},
                      Base64Case{"Rfc7636VerifierOctets",
                                 std::string(reinterpret_cast<const char*>(kRfc7636VerifierOctets),
                                             sizeof kRfc7636VerifierOctets),
                                 "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk"}),
    [](const auto& testCase) { return std::string(testCase.param.name); });

TEST(Base64Url, NeverHasPaddingOrStandardOnlyCharacters) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    const std::string text = base64UrlEncode(std::string_view(bytes).substr(0, length));
    EXPECT_EQ(text.find_first_of("+/="), std::string::npos) << length;
    EXPECT_EQ(text.size(), (length * 4 + 2) / 3) << length;
  }
}

// Inputs over a few MiB are encoded piece by piece; the text must not show
// where the pieces were cut.
TEST(Base64Url, LongInputReadsAsOneText) {
  constexpr std::size_t kTriples = (std::size_t{3} << 20) + 5;
  std::string bytes, expected;
  bytes.reserve(kTriples * 3 + 1);
  expected.reserve(kTriples * 4 + 2);
  for (std::size_t i = 0; i < kTriples; ++i) {
    bytes += "foo";
    expected += "Zm9v";
  }
  bytes += "f";
  expected += "Zg";
  EXPECT_EQ(base64UrlEncode(bytes), expected);
}

TEST(RandomBytes, GivesTheCountAskedFor) {
  EXPECT_EQ(randomBytes(0), "");
  EXPECT_EQ(randomBytes(1).size(), 1u);
  EXPECT_EQ(randomBytes(32).size(), 32u);
  EXPECT_EQ(randomBytes(100000).size(), 100000u);
}

// Two draws of 32 bytes are equal, or all zero, with probability 2^-256: a
// match means the generator is broken (or unseeded memory came back).
TEST(RandomBytes, DrawsDiffer) {
  const std::string first = randomBytes(32), second = randomBytes(32);
  EXPECT_NE(first, second);
  EXPECT_NE(first, std::string(32, '\0'));
  EXPECT_NE(second, std::string(32, '\0'));
}

struct EqualCase {
  const char* name;
  std::string a;
  std::string b;
  bool equal;
};

class ConstantTimeEqualTest : public ::testing::TestWithParam<EqualCase> {};

TEST_P(ConstantTimeEqualTest, Compares) {
  EXPECT_EQ(constantTimeEqual(GetParam().a, GetParam().b), GetParam().equal);
  EXPECT_EQ(constantTimeEqual(GetParam().b, GetParam().a), GetParam().equal);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ConstantTimeEqualTest,
    ::testing::Values(EqualCase{"Same", "abc", "abc", true},
                      EqualCase{"LastByteDiffers", "abc", "abd", false},
                      EqualCase{"FirstByteDiffers", "abc", "xbc", false},
                      EqualCase{"PrefixOfTheOther", "abc", "abcd", false},
                      EqualCase{"BothEmpty", "", "", true}, EqualCase{"OneEmpty", "", "a", false},
                      EqualCase{"EmbeddedZeroCounts", std::string("a\0b", 3), std::string("a\0c", 3), false}),
    [](const auto& testCase) { return std::string(testCase.param.name); });

}  // namespace
}  // namespace pellum
