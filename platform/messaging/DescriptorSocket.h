#pragma once

#include <cstddef>
#include <expected>
#include <span>
#include <utility>
#include <vector>

#include <sys/uio.h>

#include "platform/foundation/NSError.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// Unix sockets that carry descriptors beside the bytes. None of these raises SIGPIPE, and every descriptor
// made or received is closed on exec.

std::expected<std::pair<UniqueDescriptor, UniqueDescriptor>, NSError> makeSocketPair(int type);

// Sends what the socket takes now. The result is the count of bytes taken or a negated errno value
// (-EAGAIN when it takes none). The descriptors go with the first byte.
// REQUIRES: at most frame::kMaximumDescriptors descriptors.
ssize_t sendNow(int socket, std::span<iovec> pieces, std::span<const UniqueDescriptor> descriptors);

struct ReceiveResult {
  ssize_t count = 0;  // bytes, 0 at the end, or a negated errno value
  bool truncatedDescriptors = false;
};
// BLOCKS: until something arrives. Received descriptors are appended.
ReceiveResult receiveSome(int socket, std::span<std::byte> buffer,
                          std::vector<UniqueDescriptor>& descriptors);

}  // namespace zelto
