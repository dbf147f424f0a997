#include "framework/propagation/ContentComparison.h"

#include <cerrno>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {
namespace {

constexpr std::size_t kBlock = 1 << 20;

// As many bytes as there are, up to a block.
std::expected<std::size_t, int> readBlock(int descriptor, std::vector<char>& block) {
  std::size_t count = 0;
  while (count < block.size()) {
    const ssize_t got = ::read(descriptor, block.data() + count, block.size() - count);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::unexpected(errno);
    if (got == 0) break;
    count += static_cast<std::size_t>(got);
  }
  return count;
}

}  // namespace

std::expected<bool, int> haveSameContent(const std::string& one, const std::string& other) {
  const UniqueDescriptor a(::open(one.c_str(), O_RDONLY | O_CLOEXEC));
  if (!a) return std::unexpected(errno);
  const UniqueDescriptor b(::open(other.c_str(), O_RDONLY | O_CLOEXEC));
  if (!b) return std::unexpected(errno);
  std::vector<char> ofA(kBlock), ofB(kBlock);
  for (;;) {
    const auto fromA = readBlock(a.get(), ofA);
    if (!fromA) return std::unexpected(fromA.error());
    const auto fromB = readBlock(b.get(), ofB);
    if (!fromB) return std::unexpected(fromB.error());
    if (*fromA != *fromB || std::memcmp(ofA.data(), ofB.data(), *fromA) != 0) return false;
    if (*fromA == 0) return true;
  }
}

}  // namespace zelto
