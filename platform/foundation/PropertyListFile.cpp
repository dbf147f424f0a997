#include "platform/foundation/PropertyListFile.h"

#include <optional>

#include <fmt/format.h>

#include "platform/foundation/FileContents.h"
#include "platform/foundation/PropertyListNode.h"

namespace zelto {
namespace {

constexpr int kFileReadUnknownError = 256;
constexpr int kPropertyListReadCorruptError = 3840;
constexpr std::size_t kMaximumBytes = std::size_t{4} << 20;

NSError readError(int code, const std::string& path, std::string_view reason) {
  return {NSCocoaErrorDomain,
          code,
          {{NSLocalizedDescriptionKey,
            fmt::format("The property list “{}” is not readable: {}.", path, reason)}}};
}

}  // namespace

std::expected<NSDictionary, NSError> dictionaryWithContentsOfFile(const std::string& path) {
  const auto contents = contentsOfFile(path, kMaximumBytes);
  if (!contents) return std::unexpected(readError(kFileReadUnknownError, path, contents.error()));
  const auto node = propertyListNode(std::as_bytes(std::span(*contents)));
  if (!node) return std::unexpected(readError(kPropertyListReadCorruptError, path, node.error()));
  const auto value = treeValue(node->get());
  if (value && value->asDictionary() != nullptr) return *value->asDictionary();
  return std::unexpected(readError(kPropertyListReadCorruptError, path, "its root is not a dictionary"));
}

}  // namespace zelto
