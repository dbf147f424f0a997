#pragma once

#include <cstdint>

namespace zelto {

// The packet on an endpoint that asks for a connection; the new connection's socket goes beside it.
inline constexpr std::uint64_t kConnectGreeting = 0x31204E4E4F434C5A;  // "ZLCONN 1" as bytes

}  // namespace zelto
