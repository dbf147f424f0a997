#pragma once

#include <cstring>
#include <string>
#include <utility>

#include "platform/bus/SessionBus.h"
#include "platform/foundation/NSJSONSerialization.h"

namespace zelto {

// What the manager's methods share in reading a call and answering it. REQUIRES: the call has the signature
// that the method declares.

inline const std::string& stringArgument(const BusMethodCall& call, std::size_t index) {
  return std::get<std::string>(call.arguments[index]);
}

inline const std::string& pathArgument(const BusMethodCall& call) {
  return std::get<BusBytes>(call.arguments[0]).bytes;
}

// A path in a text that has to be UTF-8; bytes that are not become question marks.
std::string readable(std::string path);

inline NSError systemError(int code, const std::string& about) {
  return errorWithPOSIXCode(code, about + ": " + std::strerror(code));
}

inline void replyJson(BusReply& reply, const PropertyListValue& value) {
  auto text = NSJSONSerialization::stringWithValue(value, false);
  if (!text) return reply(std::unexpected(text.error()));
  reply(BusArguments{*std::move(text)});
}

}  // namespace zelto
