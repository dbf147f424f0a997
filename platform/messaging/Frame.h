#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <span>
#include <string>
#include <vector>

#include "platform/foundation/UniqueDescriptor.h"
#include "platform/messaging/NSXPCInterface.h"

namespace zelto {

// What travels on a connection: a header of 24 bytes, little-endian, then a body of whole 64-bit words.
// docs/WIRE.md describes it for other implementations.
enum class FrameKind : std::uint16_t { hello = 1, call = 2, part = 3, reply = 4, progress = 5, cancel = 6 };

namespace frame {

inline constexpr std::uint32_t kMagic = 0x4F544C5A;  // "ZLTO" as bytes
inline constexpr std::uint16_t kVersion = 1;
inline constexpr std::size_t kHeaderSize = 24;
inline constexpr std::size_t kMaximumBody = std::size_t{16} << 20;
inline constexpr std::size_t kMaximumDescriptors = 4;

}  // namespace frame

struct FrameHeader {
  FrameKind kind = FrameKind::call;
  std::uint64_t id = 0;
  std::uint32_t bodyLength = 0;
  std::uint16_t operation = 0;
  std::uint16_t descriptors = 0;
};

using FrameHeaderBytes = std::array<std::byte, frame::kHeaderSize>;

FrameHeaderBytes encodeFrameHeader(const FrameHeader& header);
// ERRORS: a sentence about the first field that breaks the rules; no field is trusted before this passed.
std::expected<FrameHeader, std::string> decodeFrameHeader(
    std::span<const std::byte, frame::kHeaderSize> bytes);

struct IncomingFrame {
  FrameKind kind = FrameKind::call;
  std::uint64_t id = 0;
  XPCMessage message;
};

struct OutgoingFrame {
  FrameKind kind = FrameKind::call;
  std::uint64_t id = 0;
  XPCMessage message;
  bool joinable = false;

  std::size_t bodySize() const { return message.body.size() * sizeof(std::uint64_t); }
  std::size_t size() const { return frame::kHeaderSize + bodySize(); }
};

// The two control bodies that the messaging layer writes and reads itself.
XPCMessage helloMessage(std::uint32_t exportedVersion, std::uint32_t remoteVersion);
struct HelloVersions {
  std::uint32_t exported = 0;
  std::uint32_t remote = 0;
};
std::expected<HelloVersions, std::string> decodeHello(const XPCMessage& message);

struct ProgressCounts {
  std::int64_t total = 0;
  std::int64_t completed = 0;
  friend bool operator==(const ProgressCounts&, const ProgressCounts&) = default;
};
XPCMessage progressMessage(ProgressCounts counts);
std::expected<ProgressCounts, std::string> decodeProgress(const XPCMessage& message);

}  // namespace zelto
