#include "host/wire/ResultCodec.h"

#include <algorithm>

#include <fcntl.h>
#include <fmt/format.h>

#include "platform/messaging/SharedBlock.h"

namespace zelto::wire {

namespace {

using Descriptors = std::vector<UniqueDescriptor>;

void writeError(const NSError& error, Error::Builder out) {
  out.setDomain(checkedText(error.domain()));
  out.setCode(error.code());
  if (!error.userInfo().empty()) writeProperties(error.userInfo(), out.initUserInfo());
}

NSError readError(Error::Reader in) {
  return NSError(checkedText(in.getDomain()), in.getCode(), readProperties(in.getUserInfo()));
}

void writeShared(const NSData& data, Block::Builder out, Descriptors& descriptors) {
  auto place = sealedBytes(data);
  int copy = place ? ::fcntl(place->descriptor, F_DUPFD_CLOEXEC, 0) : -1;
  if (copy < 0) throw WireError("no descriptor for a block");
  auto shared = out.initShared();
  shared.setDescriptor(static_cast<std::uint16_t>(descriptors.size()));
  shared.setOffset(place->offset);
  shared.setLength(data.size());
  descriptors.emplace_back(copy);
}

void writeBlock(const NSData& data, Block::Builder out, Descriptors& descriptors) {
  if (data.size() > kInlineBlock) {
    if (sealedBytes(data)) return writeShared(data, out, descriptors);
    auto copy = sealedCopy(data.bytes());
    if (!copy) throw WireError(copy.error().localizedDescription());
    return writeShared(*copy, out, descriptors);
  }
  auto bytes = out.initBytes(static_cast<unsigned>(data.size()));
  std::ranges::copy(data.bytes(), reinterpret_cast<std::byte*>(bytes.begin()));
}

NSData readBlock(Block::Reader in, const Descriptors& descriptors) {
  if (in.isBytes()) {
    auto bytes = in.getBytes();
    return NSData::copyOf(std::as_bytes(std::span(bytes.begin(), bytes.size())));
  }
  auto shared = in.getShared();
  if (shared.getDescriptor() >= descriptors.size()) throw WireError("a block without its descriptor");
  auto data = mapSealedBlock(descriptors[shared.getDescriptor()], shared.getOffset(), shared.getLength());
  if (!data) throw WireError(data.error().localizedDescription());
  return std::move(*data);
}

void fill(const ItemResult& result, Result::Builder out, Descriptors& descriptors) {
  if (result.error) writeError(*result.error, out.initError());
  if (result.item) writeProperties(*result.item, out.initItem());
  if (result.url) out.setUrl(checkedText(result.url->absoluteString()));
  if (result.data) writeBlock(*result.data, out.initData(), descriptors);
  if (result.range != NSRange{}) writeRange(result.range, out.initRange());
}

ItemResult read(Result::Reader in, const Descriptors& descriptors) {
  ItemResult result;
  if (in.hasError()) result.error = readError(in.getError());
  if (in.hasItem()) result.item = readProperties(in.getItem());
  if (in.hasUrl()) result.url = readUrl(in.getUrl());
  if (in.hasData()) result.data = readBlock(in.getData(), descriptors);
  if (in.hasRange()) result.range = readRange(in.getRange());
  return result;
}

void checkSize(const ItemResult& result) {
  std::size_t size = (result.item ? encodedSize(*result.item) : 0) +
                     (result.error ? encodedSize(result.error->userInfo()) : 0);
  if (size > kMaximumMessage) throw WireError(fmt::format("a result of {} bytes", size));
}

}  // namespace

std::optional<XPCMessage> encodeResult(const ItemResult& result) {
  return encodeMessage<Result>(0, [&result](Result::Builder out, Descriptors& descriptors) {
    checkSize(result);
    fill(result, out, descriptors);
  });
}

Decoded<ItemResult> decodeResult(const XPCMessage& message) {
  return decodeMessage<Result>(message.body,
                               [&message](Result::Reader in) { return read(in, message.descriptors); });
}

void writeRange(NSRange range, Range::Builder out) {
  out.setLocation(range.location);
  out.setLength(range.length);
}

NSRange readRange(Range::Reader in) { return {.location = in.getLocation(), .length = in.getLength()}; }

NSURL readUrl(capnp::Text::Reader text) {
  auto url = NSURL::fromString(checkedText(text));
  if (!url) throw WireError("a text that is not a file URL");
  return std::move(*url);
}

}  // namespace zelto::wire
