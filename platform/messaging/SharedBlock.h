#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <span>

#include "platform/foundation/NSData.h"
#include "platform/foundation/NSError.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// A large block of bytes on its way to another process: filled where it lies, then sealed into an NSData
// that a connection hands over as a descriptor, without copying a byte.
class SharedBlock {
 public:
  // ERRORS: no memory, no descriptors.
  static std::expected<SharedBlock, NSError> allocate(std::size_t size);
  SharedBlock(SharedBlock&& other) noexcept;
  SharedBlock& operator=(SharedBlock&&) = delete;
  ~SharedBlock();

  // To be filled, for instance by pread. Valid until the block is sealed or destroyed.
  std::span<std::byte> bytes() { return {address_, size_}; }
  // The first `size` bytes as immutable data; the block is used up.
  // REQUIRES: size is at most the size allocated, and nobody else maps the block.
  std::expected<NSData, NSError> seal(std::size_t size) &&;

 private:
  SharedBlock(UniqueDescriptor descriptor, std::byte* address, std::size_t size)
      : descriptor_(std::move(descriptor)), address_(address), size_(size) {}
  void unmap();

  UniqueDescriptor descriptor_;
  std::byte* address_ = nullptr;
  std::size_t size_ = 0;
};

// Where the bytes of some data lie in a sealed block.
struct SealedBytes {
  int descriptor = -1;  // OWNER: the data's
  std::uint64_t offset = 0;
};
// Nothing for data that lives in ordinary memory.
std::optional<SealedBytes> sealedBytes(const NSData& data);

// Bytes of ordinary memory, copied into a sealed block.
std::expected<NSData, NSError> sealedCopy(std::span<const std::byte> bytes);

// A view of a block that another process sealed. Never faults later: without the seals against writing,
// shrinking and growing, or with less than `offset + length` bytes, it is refused.
std::expected<NSData, NSError> mapSealedBlock(const UniqueDescriptor& descriptor, std::uint64_t offset,
                                              std::uint64_t length);

}  // namespace zelto
