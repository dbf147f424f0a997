#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <capnp/message.h>
#include <capnp/serialize.h>

#include "platform/messaging/NSXPCInterface.h"

namespace zelto::wire {

// The bounds that the codecs keep, besides those of a frame.
inline constexpr std::size_t kMaximumText = std::size_t{1} << 20;
inline constexpr int kMaximumDepth = 32;
inline constexpr std::size_t kMaximumListEntries = 4'000'000;
inline constexpr std::size_t kMaximumListBytes = std::size_t{2} << 30;
inline constexpr std::size_t kPartEntries = 1000;
inline constexpr std::size_t kPartBytes = std::size_t{4} << 20;
// The most that one message may hold, with room for what the encoding adds.
inline constexpr std::size_t kMaximumMessage = std::size_t{15} << 20;
inline constexpr std::size_t kInlineBlock = std::size_t{64} << 10;

// A value that may not travel. Thrown and caught inside this folder only, where the library throws too.
class WireError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

template <typename T>
using Decoded = std::expected<T, std::string>;

std::string checkedText(capnp::Text::Reader text);
// ERRORS: WireError over the bound.
capnp::Text::Reader checkedText(const std::string& text);

std::vector<std::uint64_t> serialise(capnp::MessageBuilder& builder);

// The exception that is being handled, as a sentence.
std::string currentExceptionText();

// Says on stderr that something of ours cannot be sent.
void reportUnsendable(std::string_view what, const std::string& why);

// Builds a message of the given struct by `fill(builder, descriptors)`; nothing, with a line on stderr,
// when it may not travel.
template <typename Schema, typename Operation, typename Fill>
std::optional<XPCMessage> encodeMessage(Operation operation, Fill fill, std::size_t sizeHint = 0) {
  try {
    // Small messages are built without touching the heap.
    capnp::word scratch[128] = {};
    capnp::MallocMessageBuilder small(kj::arrayPtr(scratch, std::size(scratch)));
    std::optional<capnp::MallocMessageBuilder> large;
    if (sizeHint > sizeof scratch) large.emplace(static_cast<unsigned>(sizeHint / sizeof(capnp::word)));
    capnp::MessageBuilder& builder = large ? static_cast<capnp::MessageBuilder&>(*large) : small;
    XPCMessage message;
    message.operation = static_cast<std::uint16_t>(operation);
    fill(builder.initRoot<Schema>(), message.descriptors);
    message.body = serialise(builder);
    return message;
  } catch (...) {
    reportUnsendable("message", currentExceptionText());
    return std::nullopt;
  }
}

// Reads one message of the given struct by `read(reader)`; `rest`, when given, takes the words behind it,
// without it there may be none.
// ERRORS: a sentence, whatever the bytes are.
template <typename Schema, typename Read>
auto decodeMessage(std::span<const std::uint64_t> body, Read read,
                   std::span<const std::uint64_t>* rest = nullptr)
    -> Decoded<std::invoke_result_t<Read, typename Schema::Reader>> {
  try {
    // Everything is looked at once or twice; more is an attempt to make us read the same bytes for ever.
    capnp::ReaderOptions options{.traversalLimitInWords = 2 * body.size() + 64,
                                 .nestingLimit = 4 * kMaximumDepth};
    auto words = kj::arrayPtr(reinterpret_cast<const capnp::word*>(body.data()), body.size());
    capnp::FlatArrayMessageReader reader(words, options);
    auto used = static_cast<std::size_t>(reader.getEnd() - words.begin());
    if (rest != nullptr)
      *rest = body.subspan(used);
    else if (used != body.size())
      return std::unexpected(std::string("bytes behind the end of a message"));
    return read(reader.getRoot<Schema>());
  } catch (...) {
    return std::unexpected(currentExceptionText());
  }
}

}  // namespace zelto::wire
