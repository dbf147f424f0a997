#include "hostapp/FolderLog.h"

#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

namespace zelto {

namespace {

constexpr std::uint32_t kMostBytes = 1U << 30;

void appendNumber(std::string& record, std::uint64_t value) {
  std::array<char, sizeof value> bytes{};
  std::memcpy(bytes.data(), &value, sizeof value);
  record.append(bytes.data(), bytes.size());
}

void appendText(std::string& record, std::string_view text) {
  appendNumber(record, text.size());
  record += text;
}

// Takes what was appended off the front; nothing once the bytes do not suffice.
class RecordReader {
 public:
  explicit RecordReader(std::string_view bytes) : bytes_(bytes) {}

  std::optional<std::uint64_t> number() {
    std::uint64_t value = 0;
    if (bytes_.size() < sizeof value) return std::nullopt;
    std::memcpy(&value, bytes_.data(), sizeof value);
    bytes_.remove_prefix(sizeof value);
    return value;
  }
  std::optional<std::string> text() {
    const auto length = number();
    if (!length || *length > std::min<std::uint64_t>(kMostBytes, bytes_.size())) return std::nullopt;
    std::string text(bytes_.substr(0, *length));
    bytes_.remove_prefix(*length);
    return text;
  }

 private:
  std::string_view bytes_;
};

std::optional<StoredFolder> readFolder(RecordReader& reader) {
  auto path = reader.text();
  const auto inode = reader.number();
  auto view = reader.text();
  const auto snapshot = reader.text();
  if (!path || !inode || !view || !snapshot) return std::nullopt;
  return StoredFolder{*std::move(path),
                      *inode,
                      {*std::move(view)},
                      FolderSnapshot::decoded(*snapshot).value_or(FolderSnapshot())};
}

}  // namespace

FolderLog::FolderLog(std::string path)
    : path_(std::move(path)),
      file_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600)) {
  for (const auto& folder : read()) waiting_.insert(folder.path);
}

std::vector<StoredFolder> FolderLog::read() const {
  std::ifstream in(path_, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  RecordReader reader(bytes);
  std::vector<StoredFolder> folders;
  while (auto folder = readFolder(reader)) folders.push_back(*std::move(folder));
  return folders;
}

void FolderLog::append(const StoredFolder& folder) {
  std::string record;
  appendText(record, folder.path);
  appendNumber(record, folder.inode);
  appendText(record, folder.views.empty() ? std::string() : folder.views.front());
  appendText(record, folder.snapshot.encoded());
  const std::lock_guard lock(mutex_);
  waiting_.insert(folder.path);
  const ssize_t written = ::write(file_.get(), record.data(), record.size());
  // A record cut short by a full disk would hide what follows it.
  if (written >= 0 && static_cast<std::size_t>(written) < record.size()) {
    const off_t end = ::lseek(file_.get(), 0, SEEK_END);
    if (::ftruncate(file_.get(), end - written) != 0) file_.reset();
  }
}

void FolderLog::stored(const std::vector<const StoredFolder*>& folders) {
  const std::lock_guard lock(mutex_);
  if (waiting_.empty()) return;
  for (const auto* folder : folders) waiting_.erase(folder->path);
  emptyIfDoneLocked();
}

void FolderLog::dropped(const std::vector<std::string>& paths) {
  const std::lock_guard lock(mutex_);
  if (waiting_.empty()) return;
  for (const auto& path : paths) waiting_.erase(path);
  emptyIfDoneLocked();
}

void FolderLog::emptyIfDoneLocked() {
  if (waiting_.empty() && ::ftruncate(file_.get(), 0) != 0) file_.reset();
}

}  // namespace zelto
