#include "platform/foundation/KeyedArchive.h"

#include <algorithm>

#include <fmt/format.h>

#include "platform/foundation/ArchiveReader.h"
#include "platform/foundation/ArchiveWriter.h"
#include "platform/foundation/DateArchiveTemplate.h"

namespace zelto {
namespace {

constexpr int kCoderReadCorruptError = 4864;
constexpr int kCoderInvalidValueError = 4866;

NSError archiveError(int code, std::string_view problem) {
  return {NSCocoaErrorDomain, code, {{NSLocalizedDescriptionKey, problem}}};
}

}  // namespace

std::expected<NSData, NSError> NSKeyedArchiver::archivedData(const NSDictionary& root) {
  if (auto archive = DateArchiveTemplate::shared().archive(root)) return std::move(*archive);
  if (auto archive = ArchiveWriter::archive(root)) return std::move(*archive);
  return std::unexpected(archiveError(kCoderInvalidValueError, "The dictionary cannot be archived."));
}

std::expected<NSDictionary, NSError> NSKeyedUnarchiver::unarchivedDictionary(const NSData& data) {
  auto dictionary = ArchiveReader::dictionary(data);
  if (dictionary) return std::move(*dictionary);
  return std::unexpected(
      archiveError(kCoderReadCorruptError,
                   fmt::format("The data is not readable as an archive: {}.", dictionary.error())));
}

}  // namespace zelto
