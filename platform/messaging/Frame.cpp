#include "platform/messaging/Frame.h"

#include <bit>
#include <cstring>

#include <fmt/format.h>

namespace zelto {

static_assert(std::endian::native == std::endian::little, "fields are copied as they lie in memory");

namespace {

template <typename Field>
void put(FrameHeaderBytes& bytes, std::size_t offset, Field value) {
  std::memcpy(bytes.data() + offset, &value, sizeof value);
}

template <typename Field>
Field get(std::span<const std::byte, frame::kHeaderSize> bytes, std::size_t offset) {
  Field value;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

std::optional<std::string> problem(const FrameHeader& header) {
  auto kind = static_cast<unsigned>(header.kind);
  if (kind < 1 || kind > 6) return fmt::format("unknown frame kind {}", kind);
  if (header.bodyLength > frame::kMaximumBody)
    return fmt::format("a body of {} bytes is over the limit of {}", header.bodyLength, frame::kMaximumBody);
  if (header.bodyLength % sizeof(std::uint64_t) != 0)
    return fmt::format("a body of {} bytes is not made of whole words", header.bodyLength);
  if (header.descriptors > frame::kMaximumDescriptors)
    return fmt::format("{} descriptors are over the limit of {}", header.descriptors,
                       frame::kMaximumDescriptors);
  return std::nullopt;
}

}  // namespace

FrameHeaderBytes encodeFrameHeader(const FrameHeader& header) {
  FrameHeaderBytes bytes{};
  put(bytes, 0, frame::kMagic);
  put(bytes, 4, frame::kVersion);
  put(bytes, 6, static_cast<std::uint16_t>(header.kind));
  put(bytes, 8, header.id);
  put(bytes, 16, header.bodyLength);
  put(bytes, 20, header.operation);
  put(bytes, 22, header.descriptors);
  return bytes;
}

std::expected<FrameHeader, std::string> decodeFrameHeader(
    std::span<const std::byte, frame::kHeaderSize> bytes) {
  if (auto magic = get<std::uint32_t>(bytes, 0); magic != frame::kMagic)
    return std::unexpected(fmt::format("a frame begins with 0x{:08x}", magic));
  if (auto version = get<std::uint16_t>(bytes, 4); version != frame::kVersion)
    return std::unexpected(
        fmt::format("the peer writes frames of version {}, we read version {}", version, frame::kVersion));
  FrameHeader header{.kind = static_cast<FrameKind>(get<std::uint16_t>(bytes, 6)),
                     .id = get<std::uint64_t>(bytes, 8),
                     .bodyLength = get<std::uint32_t>(bytes, 16),
                     .operation = get<std::uint16_t>(bytes, 20),
                     .descriptors = get<std::uint16_t>(bytes, 22)};
  if (auto text = problem(header)) return std::unexpected(std::move(*text));
  return header;
}

XPCMessage helloMessage(std::uint32_t exportedVersion, std::uint32_t remoteVersion) {
  XPCMessage message;
  message.body = {exportedVersion | std::uint64_t{remoteVersion} << 32};
  return message;
}

std::expected<HelloVersions, std::string> decodeHello(const XPCMessage& message) {
  if (message.body.size() != 1 || !message.descriptors.empty())
    return std::unexpected(std::string("a hello that is not one word long"));
  return HelloVersions{.exported = static_cast<std::uint32_t>(message.body[0]),
                       .remote = static_cast<std::uint32_t>(message.body[0] >> 32)};
}

XPCMessage progressMessage(ProgressCounts counts) {
  XPCMessage message;
  message.body = {std::bit_cast<std::uint64_t>(counts.total), std::bit_cast<std::uint64_t>(counts.completed)};
  return message;
}

std::expected<ProgressCounts, std::string> decodeProgress(const XPCMessage& message) {
  if (message.body.size() != 2 || !message.descriptors.empty())
    return std::unexpected(std::string("a progress that is not two words long"));
  return ProgressCounts{.total = std::bit_cast<std::int64_t>(message.body[0]),
                        .completed = std::bit_cast<std::int64_t>(message.body[1])};
}

}  // namespace zelto
