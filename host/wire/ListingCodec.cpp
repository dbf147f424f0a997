#include "host/wire/ListingCodec.h"

#include <algorithm>

#include <fmt/format.h>

namespace zelto::wire {

namespace {

class ListingSource final : public XPCMessageSource {
 public:
  // ERRORS: WireError when some part of the list may not travel.
  ListingSource(DictionaryList dictionaries, std::vector<std::string> identifiers)
      : dictionaries_(std::move(dictionaries)), identifiers_(std::move(identifiers)) {
    if (dictionaries_.size() + identifiers_.size() > kMaximumListEntries)
      throw WireError(fmt::format("a list of {} entries", dictionaries_.size() + identifiers_.size()));
    sizes_.reserve(dictionaries_.size());
    for (const auto& dictionary : dictionaries_) sizes_.push_back(checkedSize(dictionary));
    for (const auto& identifier : identifiers_) checkedText(identifier);
  }

  std::optional<Part> nextPart() override {
    std::size_t bytes = 0;
    std::size_t dictionaryCount = take(dictionaries_.size() - nextDictionary_, bytes, [this](std::size_t i) {
      return std::size_t{sizes_[nextDictionary_ + i]};
    });
    std::size_t identifierCount = take(identifiers_.size() - nextIdentifier_, bytes, [this](std::size_t i) {
      return identifiers_[nextIdentifier_ + i].size() + 16;
    });
    auto message = encodeMessage<Listing>(
        0,
        [&](Listing::Builder out, auto&) {
          fillDictionaries(out, dictionaryCount);
          fillIdentifiers(out, identifierCount);
        },
        bytes + 1024);
    if (!message) return std::nullopt;
    return Part{.message = std::move(*message),
                .last = nextDictionary_ == dictionaries_.size() && nextIdentifier_ == identifiers_.size()};
  }

  // Begins with the first part again.
  void rewind() { nextDictionary_ = nextIdentifier_ = 0; }

 private:
  static std::uint32_t checkedSize(const NSDictionary& dictionary) {
    std::size_t size = encodedSize(dictionary);
    if (size > kMaximumMessage) throw WireError(fmt::format("a dictionary of {} bytes", size));
    return static_cast<std::uint32_t>(size);
  }

  // How many of the `left` entries fit into a part that holds `bytes` already; always one where it is
  // the first.
  template <typename SizeOf>
  static std::size_t take(std::size_t left, std::size_t& bytes, SizeOf sizeOf) {
    std::size_t count = 0;
    while (count < std::min(left, kPartEntries) && (bytes == 0 || bytes + sizeOf(count) <= kPartBytes))
      bytes += sizeOf(count++);
    return count;
  }

  void fillDictionaries(Listing::Builder out, std::size_t count) {
    KeyTable keys;
    auto list = out.initDictionaries(static_cast<unsigned>(count));
    for (unsigned i = 0; i < count; ++i) writeDictionary(dictionaries_[nextDictionary_++], keys, list[i]);
    keys.write(out.initKeys(static_cast<unsigned>(keys.size())));
  }

  void fillIdentifiers(Listing::Builder out, std::size_t count) {
    auto list = out.initIdentifiers(static_cast<unsigned>(count));
    for (unsigned i = 0; i < count; ++i) list.set(i, checkedText(identifiers_[nextIdentifier_++]));
  }

  const DictionaryList dictionaries_;
  const std::vector<std::string> identifiers_;
  std::vector<std::uint32_t> sizes_;
  std::size_t nextDictionary_ = 0;
  std::size_t nextIdentifier_ = 0;
};

}  // namespace

void replyListing(XPCReplyPort& port, DictionaryList dictionaries, std::vector<std::string> identifiers) {
  bool isShort = dictionaries.size() <= kPartEntries && identifiers.size() <= kPartEntries;
  std::unique_ptr<ListingSource> source;
  try {
    source = std::make_unique<ListingSource>(std::move(dictionaries), std::move(identifiers));
  } catch (...) {
    return reportUnsendable("listing", currentExceptionText());
  }
  if (!isShort) return port.reply(std::move(source));
  auto part = source->nextPart();
  if (!part) return;
  if (part->last) return port.reply(std::move(part->message));
  // A few very large dictionaries: from the start again, in parts.
  source->rewind();
  port.reply(std::move(source));
}

void ListingCollector::append(Listing::Reader part) {
  auto keys = readKeys(part.getKeys());
  for (auto dictionary : part.getDictionaries()) dictionaries_.push_back(readDictionary(dictionary, keys));
  for (auto identifier : part.getIdentifiers()) identifiers_.push_back(checkedText(identifier));
  if (dictionaries_.size() + identifiers_.size() > kMaximumListEntries)
    throw WireError(fmt::format("a list of over {} entries", kMaximumListEntries));
}

XPCViolation ListingCollector::add(const XPCMessage& part) {
  bytes_ += part.body.size() * sizeof(std::uint64_t);
  if (bytes_ > kMaximumListBytes) return fmt::format("a list of over {} bytes", kMaximumListBytes);
  if (!part.descriptors.empty()) return "descriptors beside a list";
  auto done = decodeMessage<Listing>(part.body, [this](Listing::Reader in) {
    append(in);
    return true;
  });
  return done ? std::nullopt : XPCViolation(std::move(done.error()));
}

}  // namespace zelto::wire
