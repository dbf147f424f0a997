#include "framework/importing/SingleEntries.h"

#include <algorithm>
#include <cerrno>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/Path.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {
namespace {

constexpr std::size_t kAtOnce = 4;

using Kind = ImportEntry::Kind;
using Arrival = ImportSurvey::Arrival;

bool isFileOfSize(const std::string& path, std::uint64_t size) {
  struct stat attributes {};
  return ::lstat(path.c_str(), &attributes) == 0 && S_ISREG(attributes.st_mode) &&
         static_cast<std::uint64_t>(attributes.st_size) == size;
}

int makeEmpty(const std::string& path) {
  return UniqueDescriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)) ? 0 : errno;
}

}  // namespace

std::optional<NSError> SingleEntries::send(const ImportSurvey& survey) {
  if (auto error = sendFolders(survey)) {
    return goesOnAfter(*error) ? std::nullopt : error;
  }
  {
    std::vector<std::jthread> workers;
    for (std::size_t count = 0; count < kAtOnce; ++count) {
      workers.emplace_back([this, &survey] { work(survey); });
    }
  }
  const std::lock_guard lock(mutex_);
  return error_;
}

std::string SingleEntries::parentOf(const ImportEntry& entry) const {
  const auto folder = stringByDeletingLastPathComponent(entry.path);
  return folder.empty() ? place_.identifier() : place_.identifier() + "/" + folder;
}

std::optional<NSError> SingleEntries::sendFolders(const ImportSurvey& survey) {
  if (survey.root == Arrival::missing) {
    if (const auto error = server_.createFolder(place_.destination, place_.name))
      return importError(*error, folders_.source);
  }
  for (std::size_t index = 0; index < tree_.entries.size(); ++index) {
    const ImportEntry& entry = tree_.entries[index];
    if (entry.kind != Kind::folder || survey.entries[index] != Arrival::missing) continue;
    if (const auto error = server_.createFolder(parentOf(entry), lastPathComponent(entry.path)))
      return importError(*error, entry.path);
    tally_.arrived(0);
  }
  return std::nullopt;
}

void SingleEntries::work(const ImportSurvey& survey) {
  while (true) {
    const std::size_t index = next_++;
    if (index >= tree_.entries.size()) return;
    const ImportEntry& entry = tree_.entries[index];
    if (entry.kind == Kind::folder || survey.entries[index] != Arrival::missing) continue;
    const auto error = sendFile(entry, index);
    if (error && !goesOnAfter(*error)) return;
  }
}

bool SingleEntries::goesOnAfter(const NSError& error) {
  const bool goesOn = error.code() == EEXIST;
  if (!goesOn) next_ = tree_.entries.size();
  const std::lock_guard lock(mutex_);
  auto& first = goesOn ? cameInBetween_ : error_;
  if (!first) first = error;
  return goesOn;
}

std::optional<NSError> SingleEntries::sendFile(const ImportEntry& entry, std::size_t index) {
  const auto content = handedOver(entry, index);
  if (!content) return content.error();
  std::uint64_t told = 0;
  const auto error = server_.createFile(parentOf(entry), lastPathComponent(entry.path), *content, entry.size,
                                        [this, &told, size = static_cast<double>(entry.size)](double part) {
                                          const auto sent =
                                              static_cast<std::uint64_t>(size * std::clamp(part, 0.0, 1.0));
                                          if (sent <= told) return;
                                          tally_.arriving(sent - told);
                                          told = sent;
                                        });
  if (!error) {
    tally_.arrived(entry.size - std::min(told, entry.size));
    return std::nullopt;
  }
  ::unlink(content->c_str());
  return importError(*error, entry.path);
}

std::expected<std::string, NSError> SingleEntries::handedOver(const ImportEntry& entry,
                                                              std::size_t index) const {
  if (std::string copied = folders_.copy + "/" + entry.path;
      entry.kind == Kind::file && isFileOfSize(copied, entry.size))
    return copied;
  std::string path = folders_.handOver + "/" + std::to_string(index);
  ::unlink(path.c_str());
  if (entry.kind == Kind::other) {
    const int error = makeEmpty(path);
    if (error != 0) return std::unexpected(importError(error, entry.path));
    return path;
  }
  const auto size = copyFile(folders_.source + "/" + entry.path, path);
  if (!size) return std::unexpected(importError(size.error(), entry.path));
  if (*size == entry.size) return path;
  ::unlink(path.c_str());
  return std::unexpected(errorWithPOSIXCode(EBUSY, entry.path + ": it changes while it is being imported"));
}

}  // namespace zelto
