#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace zelto {

// Mixes two words into one by the halves of their product.
inline std::uint64_t mixedWords(std::uint64_t a, std::uint64_t b) {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

// A fast digest of bytes, not a cryptographic one. Its values are kept in databases: it must not change
// without another database version.
inline std::uint64_t digestOfBytes(std::string_view bytes, std::uint64_t seed = 0) {
  constexpr std::uint64_t kFirst = 0x9e3779b97f4a7c15, kSecond = 0xbf58476d1ce4e5b9;
  std::uint64_t state = seed ^ kFirst;
  const char* at = bytes.data();
  std::size_t left = bytes.size();
  std::uint64_t words[2];
  for (; left > 16; left -= 16, at += 16) {
    std::memcpy(words, at, 16);
    state = mixedWords(words[0] ^ kSecond, words[1] ^ state);
  }
  words[0] = words[1] = 0;
  if (left > 0) std::memcpy(words, at, left);
  return mixedWords(kFirst ^ bytes.size(), mixedWords(words[0] ^ kSecond, words[1] ^ state));
}

}  // namespace zelto
