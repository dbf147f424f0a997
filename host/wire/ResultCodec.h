#pragma once

#include <optional>
#include <span>
#include <vector>

#include "host/ZeltoFileProviderServerInterface.h"
#include "host/wire/MessageCodec.h"
#include "host/wire/PropertyListCodec.h"

namespace zelto::wire {

// Everything that the reply to an operation on one item may hold; each operation uses some of it.
struct ItemResult {
  std::optional<NSError> error;
  std::optional<NSDictionary> item;
  std::optional<NSURL> url;
  std::optional<NSData> data;
  NSRange range;
};

// Nothing, with a line on stderr, when the result may not travel. Data over 64 KiB goes as a descriptor.
std::optional<XPCMessage> encodeResult(const ItemResult& result);
Decoded<ItemResult> decodeResult(const XPCMessage& message);

void writeRange(NSRange range, Range::Builder out);
NSRange readRange(Range::Reader in);
// ERRORS: WireError where the text is no file URL.
NSURL readUrl(capnp::Text::Reader text);

}  // namespace zelto::wire
