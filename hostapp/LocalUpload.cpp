#include "hostapp/LocalUpload.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/DescriptorCopy.h"
#include "hostapp/FileAttributes.h"
#include "hostapp/RenameAtomically.h"
#include "hostapp/ToldEntries.h"
#include "platform/foundation/KillPoint.h"

namespace zelto {

namespace {

constexpr double kFurthestDate = 1e11;  // some thousands of years, which every clock can show

// To the nanosecond, so that the date that is read back is the one that was given.
std::timespec timeFor(const std::optional<NSDate>& date) {
  if (!date || std::isnan(date->timeIntervalSince1970())) return {0, UTIME_NOW};
  const double seconds = date->timeIntervalSinceReferenceDate();
  const double whole = std::floor(std::clamp(seconds, -kFurthestDate, kFurthestDate));
  const auto nanoseconds = std::clamp(std::lround((seconds - whole) * 1e9), 0L, 999'999'999L);
  return {static_cast<std::time_t>(whole) + static_cast<std::time_t>(NSDate::kReferenceSince1970),
          nanoseconds};
}

}  // namespace

std::expected<std::unique_ptr<BackendWork>, NSError> LocalUpload::begin(LocalPlace place,
                                                                        const UploadRequest& request,
                                                                        HiddenPlaces& hidden) {
  std::unique_ptr<LocalUpload> work(new LocalUpload(std::move(place), request, hidden));
  int code = work->openSource();
  if (code == 0) code = work->checkTarget();
  if (code == 0 && !work->canMoveSource()) code = work->makeCopy();
  if (code != 0) return std::unexpected(writeError(code, request.path));
  return work;
}

int LocalUpload::openSource() {
  source_.reset(::open(request_.source.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!source_) return EIO;  // the item on the server is not what is missing
  struct stat status {};
  if (::fstat(source_.get(), &status) != 0 || !S_ISREG(status.st_mode)) return EIO;
  size_ = static_cast<std::uint64_t>(status.st_size);
  return 0;
}

// Fails early what would fail in the end: nothing is copied for it.
int LocalUpload::checkTarget() const {
  const auto target = place_.look();
  if (!target) return target.error() == ENOENT ? 0 : target.error();
  if (request_.creating) return EEXIST;
  const auto entry = place_.entry(target->get());
  if (entry.stat.kind == EntryKind::folder) return EEXIST;
  return entry.stat.writable || entry.stat.kind == EntryKind::symbolicLink ? 0 : EACCES;
}

// Whether a rename brings the source there and leaves nothing behind that a copy would not have.
bool LocalUpload::canMoveSource() const {
  struct stat source {};
  struct stat folder {};
  if (::fstat(source_.get(), &source) != 0 || ::fstat(place_.folder.get(), &folder) != 0) return false;
  return source.st_dev == folder.st_dev && source.st_nlink == 1 && !hasExtendedAttributes(source_.get()) &&
         !handsDownAccessList(place_.folder.get());
}

int LocalUpload::makeCopy() {
  hidden_.note(splitPath(place_.path).folder);
  auto made = TemporaryEntry::makeFile(place_.folder.get());
  if (!made) return made.error();
  copy_.emplace(std::move(*made));
  phase_ = Phase::copy;
  return 0;
}

std::expected<bool, NSError> LocalUpload::step() {
  int code = 0;
  switch (phase_) {
    case Phase::copy:
      code = copyPiece();
      break;
    case Phase::settle:
      code = settle();
      break;
    case Phase::show:
      code = show();
      break;
  }
  if (code != 0) return std::unexpected(writeError(code, request_.path));
  return shown_;
}

int LocalUpload::copyPiece() {
  const auto wanted = std::min(kCopyPiece, size_ - copied_);
  const auto count = copyStretch(source_.get(), copy_->descriptor(), copied_, wanted);
  if (!count) return count.error();
  if (*count < wanted) return EIO;  // cut short by somebody else: never half a file
  // The disk begins at once, so that the sync at the end is short.
  ::sync_file_range(copy_->descriptor(), static_cast<off_t>(copied_), static_cast<off_t>(*count),
                    SYNC_FILE_RANGE_WRITE);
  copied_ += *count;
  if (copied_ == size_) phase_ = Phase::settle;
  return 0;
}

int LocalUpload::settle() {
  killPoint("upload.copied");
  const int content = copy_ ? copy_->descriptor() : source_.get();
  const auto target = place_.look();
  const bool replaces = target && place_.entry(target->get()).stat.kind == EntryKind::file;
  if (replaces) {
    adoptAttributes(target->get(), content);
  } else if (!copy_) {
    giveNewFileAttributes(place_.folder.get(), content);
  }
  const std::array<std::timespec, 2> times{std::timespec{0, UTIME_OMIT}, timeFor(request_.modified)};
  if (::futimens(content, times.data()) != 0) return errno;
  // A version that is on the disk goes only for one that is there too. A new file has nothing to lose, and
  // syncing each would halt everything else on the disk.
  if (replaces && ::fsync(content) != 0) return errno;
  result_ = place_.entry(content);
  phase_ = Phase::show;
  return 0;
}

// The last moment at which somebody else's change can be noticed.
bool LocalUpload::isAnotherThanSeen() const {
  if (!request_.seen) return false;
  const auto target = place_.look();
  return target && !isSameState(*request_.seen, place_.entry(target->get()).stat);
}

// Renaming has changed its time of change. What differs besides is somebody else's doing already.
void LocalUpload::noteRenamed() {
  const EntryStat now = place_.entry(copy_ ? copy_->descriptor() : source_.get()).stat;
  EntryStat expected = result_->stat;
  expected.changed = now.changed;
  if (isSameState(expected, now)) result_->stat.changed = now.changed;
}

int LocalUpload::show() {
  if (isAnotherThanSeen()) return EBUSY;
  const int folder = place_.folder.get();
  const int fromFolder = copy_ ? folder : AT_FDCWD;
  const auto& from = copy_ ? copy_->name() : request_.source;
  const int code = request_.creating ? renameWithoutReplacing(fromFolder, from, folder, place_.name)
                                     : renameReplacing(fromFolder, from, folder, place_.name);
  // Another volume under the same number, as some file systems have them.
  if (code == EXDEV && !copy_) return makeCopy();
  if (code != 0) return code;
  killPoint("upload.renamed");
  noteRenamed();
  if (copy_) copy_->release();
  copied_ = size_;
  shown_ = true;
  return 0;
}

}  // namespace zelto
