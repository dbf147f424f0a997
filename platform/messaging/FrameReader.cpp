#include "platform/messaging/FrameReader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include <fmt/format.h>

#include "platform/messaging/DescriptorSocket.h"

namespace zelto {

namespace {

const std::string kCutShort = "the stream ended inside a frame";

}  // namespace

std::expected<bool, std::string> FrameReader::receive(std::span<std::byte> space, std::size_t& received) {
  auto result = receiveSome(socket_, space, descriptors_);
  // A read ends behind the bytes that brought descriptors, so two frames' worth is the most that can wait.
  if (result.truncatedDescriptors || descriptors_.size() > 2 * frame::kMaximumDescriptors)
    return std::unexpected(std::string("more descriptors than a frame may have"));
  // A peer that closes with our bytes unread resets the socket; that is an ordinary end.
  if (result.count == 0 || result.count == -ECONNRESET) return false;
  if (result.count < 0)
    return std::unexpected(fmt::format("reading failed: {}", std::strerror(static_cast<int>(-result.count))));
  received = static_cast<std::size_t>(result.count);
  return true;
}

std::expected<bool, std::string> FrameReader::fillHeader() {
  if (buffered() < frame::kHeaderSize && begin_ > 0) {
    std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(begin_),
              buffer_.begin() + static_cast<std::ptrdiff_t>(end_), buffer_.begin());
    end_ = buffered();
    begin_ = 0;
  }
  while (buffered() < frame::kHeaderSize) {
    std::size_t received = 0;
    auto more = receive(std::span(buffer_).subspan(end_), received);
    if (!more) return more;
    if (!*more) return buffered() == 0 ? std::expected<bool, std::string>(false) : std::unexpected(kCutShort);
    end_ += received;
  }
  return true;
}

std::optional<std::string> FrameReader::readBody(std::span<std::byte> body) {
  std::size_t filled = std::min(buffered(), body.size());
  std::copy_n(buffer_.data() + begin_, filled, body.data());
  begin_ += filled;
  while (filled < body.size()) {
    std::size_t received = 0;
    auto more = receive(body.subspan(filled), received);
    if (!more) return more.error();
    if (!*more) return kCutShort;
    filled += received;
  }
  return std::nullopt;
}

std::optional<std::string> FrameReader::takeDescriptors(std::size_t count,
                                                        std::vector<UniqueDescriptor>& into) {
  if (count > descriptors_.size())
    return fmt::format("{} descriptors came with a frame that names {}", descriptors_.size(), count);
  auto last = descriptors_.begin() + static_cast<std::ptrdiff_t>(count);
  into.assign(std::make_move_iterator(descriptors_.begin()), std::make_move_iterator(last));
  descriptors_.erase(descriptors_.begin(), last);
  // With nothing more buffered no frame is left that could own the rest.
  if (buffered() == 0 && !descriptors_.empty()) return "descriptors came that no frame names";
  return std::nullopt;
}

std::expected<std::optional<IncomingFrame>, std::string> FrameReader::next() {
  auto there = fillHeader();
  if (!there) return std::unexpected(std::move(there.error()));
  if (!*there) return std::nullopt;
  auto header = decodeFrameHeader(
      std::span<const std::byte, frame::kHeaderSize>(buffer_.data() + begin_, frame::kHeaderSize));
  if (!header) return std::unexpected(std::move(header.error()));
  begin_ += frame::kHeaderSize;

  IncomingFrame result{.kind = header->kind, .id = header->id, .message = {}};
  result.message.operation = header->operation;
  result.message.body.resize(header->bodyLength / sizeof(std::uint64_t));
  if (auto text = readBody(std::as_writable_bytes(std::span(result.message.body))))
    return std::unexpected(std::move(*text));
  if (auto text = takeDescriptors(header->descriptors, result.message.descriptors))
    return std::unexpected(std::move(*text));
  return result;
}

}  // namespace zelto
