#include "hostapp/RangeReader.h"

#include <algorithm>
#include <limits>

#include "hostapp/BackendErrors.h"
#include "hostapp/StableRead.h"
#include "platform/messaging/SharedBlock.h"

namespace zelto {

namespace {

// Blocks up to this length travel inside the message.
constexpr std::uint64_t kLongestInline = 64 * 1024;

std::uint64_t endOf(NSRange range) {
  const auto room = std::numeric_limits<std::uint64_t>::max() - range.location;
  return range.location + std::min(range.length, room);
}

// Fewer bytes than asked when the file was cut meanwhile.
std::expected<NSData, NSError> contentOf(BackendFile& file, NSRange range) {
  if (range.length <= kLongestInline) {
    std::vector<std::byte> bytes(range.length);
    const auto count = file.readAt(bytes, range.location);
    if (!count) return std::unexpected(count.error());
    bytes.resize(*count);
    return NSData(std::move(bytes));
  }
  auto block = SharedBlock::allocate(range.length);
  if (!block) return std::unexpected(block.error());
  const auto count = file.readAt(block->bytes(), range.location);
  if (!count) return std::unexpected(count.error());
  return std::move(*block).seal(*count);
}

// Nothing when the file changed meanwhile.
std::expected<std::optional<RangeContent>, NSError> readOnce(ServerBackend& backend, const std::string& path,
                                                             NSRange requested, std::int64_t alignment) {
  auto file = backend.open(path);
  if (!file) return std::unexpected(file.error());
  auto before = (*file)->stat();
  if (!before) return std::unexpected(before.error());
  waitUntilTimesTell(before->stat);
  before = (*file)->stat();
  if (!before) return std::unexpected(before.error());
  const auto range = deliveredRange(requested, alignment, before->stat.size);
  auto data = contentOf(**file, range);
  if (!data) return std::unexpected(data.error());
  auto after = (*file)->stat();
  if (!after) return std::unexpected(after.error());
  if (data->size() != range.length || !isSameVersion(before->stat, after->stat)) return std::nullopt;
  return RangeContent{std::move(*data), range, std::move(*after)};
}

}  // namespace

NSRange deliveredRange(NSRange requested, std::int64_t alignment, std::uint64_t size) {
  auto begin = std::min(requested.location, size);
  auto end = std::min(endOf(requested), size);
  if (begin >= end) return {begin, 0};
  const bool aligned = alignment > 1 && static_cast<std::uint64_t>(alignment) <= kLongestRange;
  const std::uint64_t step = aligned ? static_cast<std::uint64_t>(alignment) : 1;
  begin -= begin % step;
  if (end % step != 0) end = size - end < step - end % step ? size : end + (step - end % step);
  const auto most = kLongestRange / step * step;
  return {begin, std::min(end - begin, most)};
}

std::expected<RangeContent, NSError> readRange(ServerBackend& backend, const std::string& path,
                                               NSRange requested, std::int64_t alignment) {
  for (int attempt = 0; attempt < kReadAttempts; ++attempt) {
    auto content = readOnce(backend, path, requested, alignment);
    if (!content) return std::unexpected(content.error());
    if (*content) return std::move(**content);
  }
  return std::unexpected(keepsChangingError(path));
}

}  // namespace zelto
