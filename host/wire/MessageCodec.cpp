#include "host/wire/MessageCodec.h"

#include <fmt/format.h>
#include <kj/exception.h>
#include <kj/io.h>

#include "platform/messaging/Diagnostics.h"
#include "platform/messaging/Frame.h"

namespace zelto::wire {

std::string checkedText(capnp::Text::Reader text) {
  if (text.size() > kMaximumText) throw WireError(fmt::format("a text of {} bytes", text.size()));
  return {text.begin(), text.size()};
}

capnp::Text::Reader checkedText(const std::string& text) {
  if (text.size() > kMaximumText) throw WireError(fmt::format("a text of {} bytes", text.size()));
  return {text.c_str(), text.size()};
}

std::vector<std::uint64_t> serialise(capnp::MessageBuilder& builder) {
  std::size_t count = capnp::computeSerializedSizeInWords(builder);
  if (count * sizeof(capnp::word) > frame::kMaximumBody)
    throw WireError(fmt::format("a message of {} bytes", count * sizeof(capnp::word)));
  std::vector<std::uint64_t> words(count);
  auto bytes = std::as_writable_bytes(std::span(words));
  kj::ArrayOutputStream stream(kj::arrayPtr(reinterpret_cast<kj::byte*>(bytes.data()), bytes.size()));
  capnp::writeMessage(stream, builder);
  return words;
}

std::string currentExceptionText() {
  try {
    throw;
  } catch (const kj::Exception& exception) {
    return std::string("a malformed message: ") + exception.getDescription().cStr();
  } catch (const std::exception& exception) {
    return exception.what();
  }
}

void reportUnsendable(std::string_view what, const std::string& why) {
  printDiagnostic(fmt::format("a {} is not sent: {}", what, why));
}

}  // namespace zelto::wire
