#pragma once

#include <cstddef>
#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/messaging/Frame.h"

namespace zelto {

// Cuts what arrives on a stream socket into frames. THREAD: one.
class FrameReader {
 public:
  // OWNER: the caller keeps the socket open.
  explicit FrameReader(int socket) : socket_(socket), buffer_(kBufferSize) {}

  // The next frame; nothing when the peer closed between two frames.
  // ERRORS: a sentence: the stream broke the rules or ended inside a frame, and nothing more can be read.
  // BLOCKS: until a whole frame is there.
  std::expected<std::optional<IncomingFrame>, std::string> next();

 private:
  static constexpr std::size_t kBufferSize = std::size_t{64} << 10;

  std::size_t buffered() const { return end_ - begin_; }
  // False at the end of the stream.
  std::expected<bool, std::string> fillHeader();
  std::expected<bool, std::string> receive(std::span<std::byte> space, std::size_t& received);
  std::optional<std::string> readBody(std::span<std::byte> body);
  std::optional<std::string> takeDescriptors(std::size_t count, std::vector<UniqueDescriptor>& into);

  int socket_;
  std::vector<std::byte> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  // Descriptors arrive no later than the first byte of their frame, in the frames' order.
  std::vector<UniqueDescriptor> descriptors_;
};

}  // namespace zelto
