#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>

#include "model/FileProviderItem.h"
#include "model/ItemMetadata.h"

namespace {

using namespace zelto;

// One of the keys that mean something, a key that does not, or an empty one.
std::string_view keyFor(std::uint8_t byte) {
  const std::size_t index = byte % (kItemKeyCount + 2);
  if (index < kItemKeyCount) return kItemKeyNames[index];
  return index == kItemKeyCount ? "unknown" : "";
}

// Reads values from the input until it is used up, then zeros.
class Input {
 public:
  explicit Input(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool empty() const { return bytes_.empty(); }
  std::uint8_t byte() {
    if (bytes_.empty()) return 0;
    const auto first = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return first;
  }
  std::int64_t integer() {
    std::uint64_t value = 0;
    for (int i = 0; i < 8; ++i) value = value << 8 | byte();
    return static_cast<std::int64_t>(value);
  }
  std::string text() {
    const std::size_t wanted = byte();
    const auto size = std::min(wanted, bytes_.size());
    std::string result(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(size));
    bytes_ = bytes_.subspan(size);
    return result;
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

PropertyListValue makeValue(Input& input) {
  switch (input.byte() % 8) {
    case 0:
      return input.byte() % 2 == 0;
    case 1:
      return static_cast<int>(input.byte());
    case 2:
      return input.integer();
    case 3:
      return static_cast<double>(input.integer()) / 3;
    case 4:
      return NSDate::sinceReferenceDate(static_cast<double>(input.integer()));
    case 5:
      return NSData::copyOf(input.text());
    case 6:
      return NSDictionary{{input.text(), input.text()}};
    default:
      return input.text();
  }
}

NSDictionary makeDictionary(Input& input) {
  NSDictionary dictionary;
  while (!input.empty()) {
    const auto key = keyFor(input.byte());
    dictionary.set(key, makeValue(input));
  }
  return dictionary;
}

bool isAllowed(NSFileProviderItemCapabilities capabilities) {
  const auto bits = static_cast<unsigned>(capabilities);
  return bits == 65 || bits == 67 || bits == 227 || bits == 239;
}

void check(const FileProviderItemPtr& item) {
  if (!item) return;
  const auto type = item->itemType();
  const bool fromFileFactory = type == FileProviderItemTypeFile || type == FileProviderItemTypeDirectory ||
                               type == FileProviderItemTypeSymbolicLink;
  if (fromFileFactory && !(item->itemIdentifier() && item->parentItemIdentifier() && item->filename())) {
    std::abort();
  }
  if (type == FileProviderItemTypeTrash || type == FileProviderItemTypeWorkingSet) std::abort();
  if (!isAllowed(item->capabilities()) || item->userInfo().size() != 14) std::abort();
  if (!item->itemVersion() || item->description().empty()) std::abort();
}

}  // namespace

// Any dictionary is either refused or gives a whole item of a type that a host may send.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Input input({bytes, size});
  const auto dictionary = makeDictionary(input);
  check(FileProviderItem::providerItemForDictionary(dictionary));
  return 0;
}
