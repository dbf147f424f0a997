#include "hostapp/HiddenPlaces.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "hostapp/ServerPaths.h"

namespace zelto {

namespace {

// More is not this program's writing.
constexpr off_t kMostBytes = off_t{64} << 20;
// In more folders than this nobody looks at the next start: what is left there goes when they are listed.
constexpr std::size_t kMostPlaces = 100'000;
// Records of folders that have moved stay in the file up to this size, in bytes.
constexpr std::size_t kShortenAt = std::size_t{1} << 20;
constexpr int kFlags = O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW;

// Each path ends with a byte that no path holds.
std::string recordOf(const std::string& folder) { return folder + '\0'; }

std::string contentOf(int file) {
  struct stat status {};
  if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > kMostBytes) return {};
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  const ssize_t count = ::pread(file, bytes.data(), bytes.size(), 0);
  bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return bytes;
}

// Takes the whole records off the front; what a kill has cut short stays.
std::vector<std::string> takeRecords(std::string_view& bytes) {
  std::set<std::string> records;
  for (auto end = bytes.find('\0'); end != std::string_view::npos; end = bytes.find('\0')) {
    records.emplace(bytes.substr(0, end));
    bytes.remove_prefix(end + 1);
  }
  return {records.begin(), records.end()};
}

bool writeWhole(int file, const std::string& bytes) {
  return ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
}

}  // namespace

HiddenPlaces::HiddenPlaces(std::string path) : path_(std::move(path)), shortenAt_(kShortenAt) {
  if (path_.empty()) return;
  file_.reset(::open(path_.c_str(), kFlags, 0600));
  if (!file_) return;
  const std::string bytes = contentOf(file_.get());
  std::string_view rest = bytes;
  earlier_ = takeRecords(rest);
  const auto whole = static_cast<off_t>(bytes.size() - rest.size());
  if (::ftruncate(file_.get(), whole) != 0) file_.reset();
  written_ = static_cast<std::size_t>(whole);
}

void HiddenPlaces::note(const std::string& folder) {
  const std::lock_guard lock(mutex_);
  noteLocked(folder);
}

// The entry is made also where this fails: it is removed when somebody lists the folder.
void HiddenPlaces::noteLocked(const std::string& folder) {
  if (noted_.size() >= kMostPlaces || !noted_.insert(folder).second || !file_) return;
  const off_t end = ::lseek(file_.get(), 0, SEEK_END);
  const std::string record = recordOf(folder);
  if (writeWhole(file_.get(), record)) {
    written_ += record.size();
  } else if (::ftruncate(file_.get(), end) != 0) {
    file_.reset();  // a record cut short by a full disk would run into the next one
  }
}

void HiddenPlaces::noteMove(const std::string& from, const std::string& to) {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> moved;
  const auto take = [&](const std::string& folder) {
    if (liesIn(folder, from)) moved.push_back(to + folder.substr(from.size()));
  };
  if (noted_.contains(from)) take(from);
  // '0' follows '/': everything that begins with "from/".
  for (auto at = noted_.lower_bound(from + '/'); at != noted_.end() && *at < from + '0'; ++at) take(*at);
  for (const auto& folder : earlier_) take(folder);
  for (const auto& folder : moved) noteLocked(folder);
}

void HiddenPlaces::moved(const std::string& from) {
  const std::lock_guard lock(mutex_);
  noted_.erase(from);
  noted_.erase(noted_.lower_bound(from + '/'), noted_.lower_bound(from + '0'));
  std::erase_if(earlier_, [&from](const std::string& folder) { return liesIn(folder, from); });
  if (written_ > shortenAt_) shortenLocked();
}

void HiddenPlaces::shortenLocked() {
  std::vector<std::string> kept(earlier_);
  kept.insert(kept.end(), noted_.begin(), noted_.end());
  rewriteLocked(kept);
  shortenAt_ = std::max(kShortenAt, 2 * written_);
}

std::vector<std::string> HiddenPlaces::earlier() {
  const std::lock_guard lock(mutex_);
  return earlier_;
}

void HiddenPlaces::cleaned(const std::vector<std::string>& remaining) {
  const std::lock_guard lock(mutex_);
  if (earlier_.empty()) return;
  earlier_ = remaining;
  std::vector<std::string> kept(remaining);
  kept.insert(kept.end(), noted_.begin(), noted_.end());
  rewriteLocked(kept);
}

void HiddenPlaces::end() {
  const std::lock_guard lock(mutex_);
  if (noted_.empty()) return;
  noted_.clear();
  rewriteLocked(earlier_);
}

// In one rename, so that a kill leaves the one or the other.
void HiddenPlaces::rewriteLocked(const std::vector<std::string>& folders) {
  if (!file_) return;
  const std::string path = path_ + ".new";
  UniqueDescriptor made(::open(path.c_str(), kFlags | O_TRUNC, 0600));
  std::string bytes;
  for (const auto& folder : folders) bytes += recordOf(folder);
  if (!made || !writeWhole(made.get(), bytes)) return;
  if (std::rename(path.c_str(), path_.c_str()) != 0) return;
  file_ = std::move(made);
  written_ = bytes.size();
}

}  // namespace zelto
