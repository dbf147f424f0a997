#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/ZeltoFileProviderServerInterface.h"
#include "host/wire/MessageCodec.h"
#include "host/wire/PropertyListCodec.h"

namespace zelto::wire {

// Replies with a list: in one frame where it is short, else in parts, encoded as fast as the peer reads.
// With a line on stderr and no reply when the list may not travel.
void replyListing(XPCReplyPort& port, DictionaryList dictionaries, std::vector<std::string> identifiers = {});

// Puts the parts together again. THREAD: one.
class ListingCollector {
 public:
  XPCViolation add(const XPCMessage& part);

  DictionaryList takeDictionaries() { return std::move(dictionaries_); }
  std::vector<std::string> takeIdentifiers() { return std::move(identifiers_); }

 private:
  void append(Listing::Reader part);

  DictionaryList dictionaries_;
  std::vector<std::string> identifiers_;
  std::size_t bytes_ = 0;
};

}  // namespace zelto::wire
