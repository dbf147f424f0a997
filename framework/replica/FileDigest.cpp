#include "framework/replica/FileDigest.h"

#include <cerrno>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

#include "framework/replica/Digest.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

std::expected<std::uint32_t, int> digestOfFile(const std::string& path) {
  constexpr std::size_t kBlock = 262144;
  const UniqueDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return std::unexpected(errno);
  const auto block = std::make_unique_for_overwrite<char[]>(kBlock);
  std::uint64_t state = 0;
  std::size_t filled = 0;
  for (;;) {
    const ssize_t got = ::read(file.get(), block.get() + filled, kBlock - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::unexpected(errno);
    filled += static_cast<std::size_t>(got);
    if (got != 0 && filled < kBlock) continue;
    state = digestOfBytes({block.get(), filled}, state);
    if (got == 0) break;
    filled = 0;
  }
  const auto digest = static_cast<std::uint32_t>(state ^ (state >> 32U));
  return digest == 0 ? 1 : digest;
}

}  // namespace zelto
