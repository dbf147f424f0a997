#include "cli/UploadTally.h"

#include <algorithm>

#include <fmt/format.h>

#include "cli/JsonFields.h"
#include "cli/Text.h"

namespace zelto::cli {

UploadTally::UploadTally(const NSArray& changes) {
  for (const PropertyListValue& value : changes) {
    if (value.asDictionary() == nullptr) continue;
    const NSDictionary& change = *value.asDictionary();
    const std::string state = textField(change, "state");
    if (state == "failed" || state == "local") continue;
    ++left_;
    const auto bytes = [&change](const char* key) {
      return static_cast<std::uint64_t>(std::max<std::int64_t>(numberField(change, key), 0));
    };
    if (bytes("total") > 0) uploaded(textField(change, "path"), bytes("completed"), bytes("total"));
  }
  all_ = left_;
}

void UploadTally::countsChanged(std::uint64_t pending, std::uint64_t uploading) {
  left_ = pending + uploading;
  all_ = std::max(all_, left_);
}

void UploadTally::uploaded(const std::string& path, std::uint64_t completed, std::uint64_t total) {
  uploads_[path] = {std::min(completed, total), total};
}

std::string UploadTally::text() const {
  Bytes sum;
  for (const auto& [path, bytes] : uploads_) {
    sum.completed += bytes.completed;
    sum.total += bytes.total;
  }
  if (sum.total == 0) return fmt::format("{} left", left_);
  return fmt::format("{} left, {} of {} sent", left_, byteCount(sum.completed), byteCount(sum.total));
}

}  // namespace zelto::cli
