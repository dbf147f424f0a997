#include "platform/messaging/SharedBlock.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace zelto {

namespace {

constexpr int kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

// Deletes a read-only mapping. As the deleter of an NSData's owner it also is what tells such data from
// others and holds the block's descriptor (-1 where it was not kept).
struct SealedMapping {
  int descriptor;
  std::size_t size;
  void operator()(const void* address) const {
    ::munmap(const_cast<void*>(address), size);
    if (descriptor >= 0) ::close(descriptor);
  }
};

std::unexpected<NSError> failure(std::string_view message) {
  return std::unexpected(errorWithPOSIXCode(errno, message));
}

// Takes the descriptor over where it is given.
std::expected<NSData, NSError> mapReadOnly(int descriptor, UniqueDescriptor kept, std::uint64_t offset,
                                           std::size_t length) {
  if (length == 0) return NSData();
  auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
  std::uint64_t start = offset / page * page;
  std::size_t size = static_cast<std::size_t>(offset - start) + length;
  void* address =
      ::mmap(nullptr, size, PROT_READ, MAP_SHARED | MAP_POPULATE, descriptor, static_cast<off_t>(start));
  if (address == MAP_FAILED) return failure("Could not map a shared block");
  std::shared_ptr<const void> owner(address, SealedMapping{.descriptor = kept.release(), .size = size});
  return NSData::view(std::move(owner), {static_cast<const std::byte*>(address) + (offset - start), length});
}

}  // namespace

std::expected<SharedBlock, NSError> SharedBlock::allocate(std::size_t size) {
  UniqueDescriptor descriptor(::memfd_create("zelto.block", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (!descriptor || ::ftruncate(descriptor.get(), static_cast<off_t>(size)) != 0)
    return failure("Could not allocate a shared block");
  if (size == 0) return SharedBlock(std::move(descriptor), nullptr, 0);
  void* address = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor.get(), 0);
  if (address == MAP_FAILED) return failure("Could not map a shared block");
  return SharedBlock(std::move(descriptor), static_cast<std::byte*>(address), size);
}

SharedBlock::SharedBlock(SharedBlock&& other) noexcept
    : descriptor_(std::move(other.descriptor_)),
      address_(std::exchange(other.address_, nullptr)),
      size_(std::exchange(other.size_, 0)) {}

SharedBlock::~SharedBlock() { unmap(); }

void SharedBlock::unmap() {
  if (address_ != nullptr) ::munmap(std::exchange(address_, nullptr), size_);
}

std::expected<NSData, NSError> SharedBlock::seal(std::size_t size) && {
  // A block can be sealed only once nobody maps it for writing.
  unmap();
  UniqueDescriptor descriptor = std::move(descriptor_);
  if (size < size_ && ::ftruncate(descriptor.get(), static_cast<off_t>(size)) != 0)
    return failure("Could not cut a shared block");
  size_ = 0;
  if (::fcntl(descriptor.get(), F_ADD_SEALS, kSeals) != 0) return failure("Could not seal a shared block");
  int number = descriptor.get();
  return mapReadOnly(number, std::move(descriptor), 0, size);
}

std::optional<SealedBytes> sealedBytes(const NSData& data) {
  auto* mapping = std::get_deleter<SealedMapping>(data.owner());
  if (mapping == nullptr || mapping->descriptor < 0) return std::nullopt;
  auto* start = static_cast<const std::byte*>(data.owner().get());
  auto offset = static_cast<std::uint64_t>(data.bytes().data() - start);
  return SealedBytes{.descriptor = mapping->descriptor, .offset = offset};
}

std::expected<NSData, NSError> sealedCopy(std::span<const std::byte> bytes) {
  auto block = SharedBlock::allocate(bytes.size());
  if (!block) return std::unexpected(std::move(block.error()));
  std::ranges::copy(bytes, block->bytes().begin());
  return std::move(*block).seal(bytes.size());
}

std::expected<NSData, NSError> mapSealedBlock(const UniqueDescriptor& descriptor, std::uint64_t offset,
                                              std::uint64_t length) {
  int seals = ::fcntl(descriptor.get(), F_GET_SEALS);
  struct stat status {};
  if (seals < 0 || (seals & kSeals) != kSeals || ::fstat(descriptor.get(), &status) != 0)
    return std::unexpected(errorWithPOSIXCode(EPERM, "a block is not sealed"));
  auto size = static_cast<std::uint64_t>(status.st_size);
  if (offset > size || length > size - offset)
    return std::unexpected(errorWithPOSIXCode(ERANGE, "a block is shorter than its message says"));
  return mapReadOnly(descriptor.get(), UniqueDescriptor(), offset, length);
}

}  // namespace zelto
