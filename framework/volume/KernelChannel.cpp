#include "framework/volume/KernelChannel.h"

#include <cerrno>

#include <fcntl.h>
#include <linux/fuse.h>
#include <sys/uio.h>
#include <unistd.h>

#include "framework/volume/Volume.h"

namespace zelto {
namespace {

// The answer to the kernel's first message is the only one with this body, and the first that is written.
bool isAnswerToInit(const iovec* pieces, int count) {
  return count == 2 && pieces[0].iov_len == sizeof(fuse_out_header) &&
         pieces[1].iov_len == sizeof(fuse_init_out) &&
         static_cast<const fuse_out_header*>(pieces[0].iov_base)->error == 0 &&
         static_cast<const fuse_init_out*>(pieces[1].iov_base)->major == FUSE_KERNEL_VERSION;
}

ssize_t writeTo(int descriptor, iovec* pieces, int count, void* volume) {
  if (static_cast<Volume*>(volume)->isFirstAnswer() && isAnswerToInit(pieces, count)) {
    static_cast<fuse_init_out*>(pieces[1].iov_base)->flags |= FUSE_HANDLE_KILLPRIV_V2;
  }
  return ::writev(descriptor, pieces, count);
}

ssize_t readFrom(int descriptor, void* bytes, std::size_t size, void*) {
  return ::read(descriptor, bytes, size);
}

ssize_t spliceBetween(int from, off_t* fromOffset, int to, off_t* toOffset, std::size_t size, unsigned flags,
                      void*) {
  return ::splice(from, fromOffset, to, toOffset, size, flags);
}

}  // namespace

int openKernelChannel(fuse_session* session) {
  const fuse_custom_io channel{writeTo, readFrom, spliceBetween, spliceBetween};
  return -fuse_session_custom_io(session, &channel, fuse_session_fd(session));
}

}  // namespace zelto
