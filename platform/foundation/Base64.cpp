#include "platform/foundation/Base64.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

#include <openssl/evp.h>

namespace zelto {
namespace {

// The library counts in int. A multiple of what one group holds on either side.
constexpr std::size_t kChunk = std::size_t{3} << 20;
constexpr std::size_t kGroup = 4;

const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

// The standard alphabet with its padding; nothing for what is no Base64.
std::optional<std::string> canonical(std::string_view text) {
  const auto padding = text.size() - std::min(text.find_last_not_of('=') + 1, text.size());
  if (padding > 2 || (padding > 0 && text.size() % kGroup != 0)) return std::nullopt;
  std::string result(text);
  std::ranges::replace(result, '-', '+');
  std::ranges::replace(result, '_', '/');
  const bool known = std::ranges::all_of(
      std::string_view(result).substr(0, text.size() - padding),
      [](unsigned char c) { return (c < 0x80 && std::isalnum(c) != 0) || c == '+' || c == '/'; });
  if (!known || text.size() % kGroup == 1) return std::nullopt;
  result.resize((text.size() + kGroup - 1) / kGroup * kGroup, '=');
  return result;
}

}  // namespace

std::string base64Encoded(std::string_view bytes) {
  std::string result;
  std::string block((std::min(kChunk, bytes.size()) + 2) / 3 * kGroup + 1, '\0');
  for (; !bytes.empty(); bytes.remove_prefix(std::min(kChunk, bytes.size()))) {
    const auto part = bytes.substr(0, kChunk);
    const int length = ::EVP_EncodeBlock(reinterpret_cast<unsigned char*>(block.data()), bytesOf(part),
                                         static_cast<int>(part.size()));
    result.append(block, 0, static_cast<std::size_t>(length));
  }
  return result;
}

std::optional<std::string> base64Decoded(std::string_view text) {
  const auto whole = canonical(text);
  if (!whole) return std::nullopt;
  constexpr std::size_t kTextChunk = kGroup << 20;
  std::string result;
  std::string block(std::min(kTextChunk, whole->size()) / kGroup * 3, '\0');
  for (std::size_t at = 0; at < whole->size(); at += kTextChunk) {
    const auto part = std::string_view(*whole).substr(at, kTextChunk);
    const int length = ::EVP_DecodeBlock(reinterpret_cast<unsigned char*>(block.data()), bytesOf(part),
                                         static_cast<int>(part.size()));
    if (length < 0) return std::nullopt;
    result.append(block, 0, static_cast<std::size_t>(length));
  }
  // The library counts the padding as bytes.
  result.resize(result.size() - static_cast<std::size_t>(std::ranges::count(*whole, '=')));
  return result;
}

}  // namespace zelto
