#include "platform/foundation/NSData.h"

#include <algorithm>
#include <utility>

namespace zelto {

NSData::NSData(std::vector<std::byte> bytes) {
  if (bytes.empty()) return;
  auto owner = std::make_shared<const std::vector<std::byte>>(std::move(bytes));
  bytes_ = *owner;
  owner_ = std::move(owner);
}

NSData NSData::copyOf(std::span<const std::byte> bytes) {
  return NSData(std::vector<std::byte>(bytes.begin(), bytes.end()));
}

NSData NSData::copyOf(std::string_view text) {
  return copyOf(std::as_bytes(std::span(text.data(), text.size())));
}

NSData NSData::view(std::shared_ptr<const void> owner, std::span<const std::byte> bytes) {
  NSData data;
  data.owner_ = std::move(owner);
  data.bytes_ = bytes;
  return data;
}

std::string_view NSData::text() const {
  return {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()};
}

bool operator==(const NSData& a, const NSData& b) { return std::ranges::equal(a.bytes_, b.bytes_); }

}  // namespace zelto
