#include "hostapp/Downloads.h"

#include <algorithm>
#include <optional>

#include <unistd.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/DescriptorCopy.h"
#include "hostapp/StableRead.h"
#include "hostapp/TransferFile.h"

namespace zelto {

namespace {

// Other downloads get their turn after a slice.
constexpr std::uint64_t kSlice = 64ULL << 20;

// One download on its way. Each step runs on one thread of the pool.
class DownloadJob : public std::enable_shared_from_this<DownloadJob> {
 public:
  DownloadJob(std::shared_ptr<Downloads::Parts> parts, Downloads::Request request, DownloadReply completion)
      : parts_(std::move(parts)), request_(std::move(request)), completion_(std::move(completion)) {}

  void queue() {
    parts_->pool->runLong([job = shared_from_this()] { job->step(); });
  }

 private:
  void step() {
    if (isOver()) return fail(cocoaError(kUserCancelledError, "The download was cancelled."));
    const auto error = source_ ? copySlice() : begin();
    if (error) return fail(*error);
    if (!atEnd_) return queue();
    finish();
  }

  bool isOver() const { return request_.progress->isCancelled() || *request_.abandoned; }

  // Opens the file anew and copies its first slice, which is all of most files.
  std::optional<NSError> begin() {
    auto source = parts_->backend->open(request_.path);
    if (!source) return source.error();
    source_ = std::move(*source);
    auto before = source_->stat();
    if (!before) return before.error();
    waitUntilTimesTell(before->stat);
    before = source_->stat();
    if (!before) return before.error();
    before_ = std::move(*before);
    if (auto error = prepareFile()) return error;
    request_.progress->setTotalUnitCount(static_cast<std::int64_t>(before_.stat.size));
    return copySlice();
  }

  std::optional<NSError> prepareFile() {
    copied_ = 0;
    atEnd_ = false;
    if (file_) {
      if (::ftruncate(file_->descriptor(), 0) != 0) return backendError(errno, request_.path);
      return std::nullopt;
    }
    auto file = TransferFile::make(parts_->directory);
    if (!file) return file.error();
    file_.emplace(std::move(*file));
    return std::nullopt;
  }

  std::optional<NSError> copySlice() {
    const auto size = before_.stat.size;
    for (std::uint64_t done = 0; done < kSlice && copied_ < size; done += kCopyPiece) {
      const auto wanted = std::min(kCopyPiece, size - copied_);
      const auto count = source_->copyTo(file_->descriptor(), copied_, wanted);
      if (!count) return count.error();
      copied_ += *count;
      request_.progress->setCompletedUnitCount(static_cast<std::int64_t>(copied_));
      if (*count < wanted) break;
      if (isOver()) return std::nullopt;
    }
    const auto after = source_->stat();
    if (!after) return after.error();
    changed_ = !isSameVersion(before_.stat, after->stat);
    atEnd_ = copied_ == size || changed_;
    return std::nullopt;
  }

  void finish() {
    if (changed_) return again();
    source_.reset();
    file_->close();
    request_.progress->setCompletedUnitCount(static_cast<std::int64_t>(copied_));
    if (isOver()) return step();
    parts_->counters->addBytes(copied_);
    completion_(file_->url(), request_.describe(before_), std::nullopt);
    file_->handedOver();
  }

  void again() {
    if (++attempts_ >= kReadAttempts) return fail(keepsChangingError(request_.path));
    source_.reset();
    changed_ = false;
    queue();
  }

  void fail(const NSError& error) {
    source_.reset();
    file_.reset();
    completion_(std::nullopt, std::nullopt, error);
  }

  const std::shared_ptr<Downloads::Parts> parts_;
  Downloads::Request request_;
  DownloadReply completion_;
  std::unique_ptr<BackendFile> source_;
  std::optional<TransferFile> file_;
  BackendEntry before_;
  std::uint64_t copied_ = 0;
  int attempts_ = 0;
  bool atEnd_ = false;
  bool changed_ = false;
};

}  // namespace

void Downloads::start(Request request, DownloadReply completion) {
  std::make_shared<DownloadJob>(parts_, std::move(request), std::move(completion))->queue();
}

}  // namespace zelto
