#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace zelto {

// Digests of bytes, as published (RFC 1321, RFC 2104 with FIPS 180-4). THREAD: any.
std::array<std::uint8_t, 16> digestMD5(std::string_view bytes);
std::array<std::uint8_t, 32> hmacSHA256(std::string_view key, std::string_view message);

}  // namespace zelto
