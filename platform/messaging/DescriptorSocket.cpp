#include "platform/messaging/DescriptorSocket.h"

#include <cerrno>
#include <cstring>

#include <sys/socket.h>

#include "platform/messaging/Frame.h"

namespace zelto {

namespace {

using ControlBuffer = std::array<std::byte, CMSG_SPACE(sizeof(int) * frame::kMaximumDescriptors)>;

void attach(msghdr& header, ControlBuffer& control, std::span<const UniqueDescriptor> descriptors) {
  header.msg_control = control.data();
  header.msg_controllen = CMSG_SPACE(sizeof(int) * descriptors.size());
  cmsghdr* message = CMSG_FIRSTHDR(&header);
  message->cmsg_level = SOL_SOCKET;
  message->cmsg_type = SCM_RIGHTS;
  message->cmsg_len = CMSG_LEN(sizeof(int) * descriptors.size());
  auto* out = CMSG_DATA(message);
  for (const auto& descriptor : descriptors) {
    int value = descriptor.get();
    std::memcpy(out, &value, sizeof value);
    out += sizeof value;
  }
}

void detach(msghdr& header, std::vector<UniqueDescriptor>& descriptors) {
  for (cmsghdr* message = CMSG_FIRSTHDR(&header); message != nullptr;
       message = CMSG_NXTHDR(&header, message)) {
    if (message->cmsg_level != SOL_SOCKET || message->cmsg_type != SCM_RIGHTS) continue;
    std::size_t count = (message->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i) {
      int value = -1;
      std::memcpy(&value, CMSG_DATA(message) + i * sizeof value, sizeof value);
      descriptors.emplace_back(value);
    }
  }
}

}  // namespace

std::expected<std::pair<UniqueDescriptor, UniqueDescriptor>, NSError> makeSocketPair(int type) {
  int ends[2];
  if (::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends) != 0)
    return std::unexpected(errorWithPOSIXCode(errno, "Could not make a socket pair"));
  return std::pair(UniqueDescriptor(ends[0]), UniqueDescriptor(ends[1]));
}

ssize_t sendNow(int socket, std::span<iovec> pieces, std::span<const UniqueDescriptor> descriptors) {
  msghdr header{};
  alignas(cmsghdr) ControlBuffer control{};
  header.msg_iov = pieces.data();
  header.msg_iovlen = pieces.size();
  if (!descriptors.empty()) attach(header, control, descriptors);
  ssize_t sent;
  do {
    sent = ::sendmsg(socket, &header, MSG_NOSIGNAL | MSG_DONTWAIT);
  } while (sent < 0 && errno == EINTR);
  return sent < 0 ? -errno : sent;
}

ReceiveResult receiveSome(int socket, std::span<std::byte> buffer,
                          std::vector<UniqueDescriptor>& descriptors) {
  iovec piece{.iov_base = buffer.data(), .iov_len = buffer.size()};
  alignas(cmsghdr) ControlBuffer control;
  msghdr header{};
  header.msg_iov = &piece;
  header.msg_iovlen = 1;
  ssize_t count;
  do {
    header.msg_control = control.data();
    header.msg_controllen = control.size();
    count = ::recvmsg(socket, &header, MSG_CMSG_CLOEXEC);
  } while (count < 0 && errno == EINTR);
  if (count < 0) return {.count = -errno};
  detach(header, descriptors);
  return {.count = count, .truncatedDescriptors = (header.msg_flags & MSG_CTRUNC) != 0};
}

}  // namespace zelto
