#include "base/crypto.h"
#include "base/crypto_failure.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>

#include "base/log_line.h"

namespace pellum {
namespace {

constexpr std::size_t kSha256Bytes = 32;

// EVP_EncodeBlock counts in int; longer inputs go in pieces. A Base64 piece
// is a multiple of three bytes, so its text ends without padding and the
// pieces join into the text of the whole.
constexpr std::size_t kBase64Piece = 3 * (std::size_t{1} << 20);

unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

void stopOnCryptoFailure(const std::string& what) {
  char reason[256] = "no reason given";
  if (const unsigned long code = ERR_get_error(); code != 0) ERR_error_string_n(code, reason, sizeof reason);
  printLine(stderr, "crypto: " + what + " (" + reason + ")");
  std::abort();
}

std::string sha256(std::string_view bytes) {
  std::string digest(kSha256Bytes, '\0');
  unsigned int size = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), bytesOf(digest), &size, EVP_sha256(), nullptr) != 1 ||
      size != kSha256Bytes) {
    stopOnCryptoFailure("SHA-256 failed");
  }
  return digest;
}

std::string hmacSha256(std::string_view key, std::string_view message) {
  // HMAC replaces a key longer than one block by its digest anyway, so a key
  // too long for HMAC()'s int length gives the same code this way.
  if (key.size() > INT_MAX) return hmacSha256(sha256(key), message);
  // OpenSSL 3.0's HMAC() fails when the key and the message pointers are both
  // null, which two empty views may be; an empty key is any pointer with length
  // 0. Empty-key handling in OpenSSL: https://github.com/openssl/openssl/issues/31068
  static constexpr char kEmptyKey = '\0';
  const void* keyBytes = key.empty() ? &kEmptyKey : key.data();
  std::string code(kSha256Bytes, '\0');
  unsigned int size = 0;
  if (HMAC(EVP_sha256(), keyBytes, static_cast<int>(key.size()), bytesOf(message), message.size(),
           bytesOf(code), &size) == nullptr ||
      size != kSha256Bytes) {
    stopOnCryptoFailure("HMAC-SHA-256 failed");
  }
  return code;
}

std::string base64UrlEncode(std::string_view bytes) {
  // Room for the padded text and the NUL that EVP_EncodeBlock writes after it.
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  std::size_t written = 0;
  for (std::size_t read = 0; read < bytes.size();) {
    const std::size_t piece = std::min(bytes.size() - read, kBase64Piece);
    written += static_cast<std::size_t>(
        EVP_EncodeBlock(bytesOf(text) + written, bytesOf(bytes) + read, static_cast<int>(piece)));
    read += piece;
  }
  text.resize(written);
  std::replace(text.begin(), text.end(), '+', '-');
  std::replace(text.begin(), text.end(), '/', '_');
  std::erase(text, '=');
  return text;
}

bool constantTimeEqual(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace pellum
