#include "platform/foundation/CommonCrypto.h"

#include <new>

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

namespace zelto {
namespace {

// A library context of our own: whatever the machine's configuration permits elsewhere, MD5 names files here.
OSSL_LIB_CTX* context() {
  static OSSL_LIB_CTX* const shared = [] {
    OSSL_LIB_CTX* const made = ::OSSL_LIB_CTX_new();
    if (made != nullptr) ::OSSL_PROVIDER_load(made, "default");
    return made;
  }();
  return shared;
}

}  // namespace

std::array<std::uint8_t, 16> digestMD5(std::string_view bytes) {
  std::array<std::uint8_t, 16> digest{};
  // Only a lack of memory makes these calls fail.
  if (::EVP_Q_digest(context(), "MD5", nullptr, bytes.data(), bytes.size(), digest.data(), nullptr) != 1) {
    throw std::bad_alloc();
  }
  return digest;
}

std::array<std::uint8_t, 32> hmacSHA256(std::string_view key, std::string_view message) {
  std::array<std::uint8_t, 32> code{};
  std::size_t length = 0;
  const auto* const data = reinterpret_cast<const unsigned char*>(message.data());
  // A key without a pointer would be no key at all.
  const char* const keyBytes = key.empty() ? "" : key.data();
  if (::EVP_Q_mac(context(), "HMAC", nullptr, "SHA256", nullptr, keyBytes, key.size(), data, message.size(),
                  code.data(), code.size(), &length) == nullptr) {
    throw std::bad_alloc();
  }
  return code;
}

}  // namespace zelto
