#include "tests/system/FolderWatch.h"

#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace zelto::test {
namespace {

constexpr std::uint32_t kChanges = IN_CREATE | IN_DELETE | IN_MOVE | IN_MODIFY | IN_ATTRIB;

}  // namespace

FolderWatch::FolderWatch(const fs::path& folder) : descriptor_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  EXPECT_GE(::inotify_add_watch(descriptor_, folder.c_str(), kChanges), 0)
      << folder << ": " << std::strerror(errno);
}

FolderWatch::~FolderWatch() { ::close(descriptor_); }

void FolderWatch::read() {
  alignas(inotify_event) char buffer[65536];
  ssize_t count = 0;
  while ((count = ::read(descriptor_, buffer, sizeof buffer)) > 0) {
    for (ssize_t at = 0; at < count;) {
      inotify_event event;
      std::memcpy(&event, buffer + at, sizeof event);
      const std::string name = event.len != 0 ? buffer + at + sizeof event : "";
      events_.push_back({event.mask, event.cookie, name});
      char mask[16];
      std::snprintf(mask, sizeof mask, "%x ", event.mask);
      texts_.push_back(mask + name);
      at += static_cast<ssize_t>(sizeof event + event.len);
    }
  }
}

const std::vector<std::string>& FolderWatch::all() {
  read();
  return texts_;
}

bool FolderWatch::saw(std::uint32_t event, const std::string& name) {
  read();
  return std::ranges::any_of(
      events_, [&](const Event& each) { return (each.mask & event) == event && each.name == name; });
}

std::string FolderWatch::waitFor(std::uint32_t event, const std::string& name) {
  if (eventually([&] { return saw(event, name); })) return "";
  std::string text = name + " not among";
  for (const std::string& each : texts_) text += " [" + each + "]";
  return text;
}

bool FolderWatch::sawMove(const std::string& from, const std::string& to) {
  read();
  return std::ranges::any_of(events_, [&](const Event& left) {
    return (left.mask & IN_MOVED_FROM) != 0 && left.name == from &&
           std::ranges::any_of(events_, [&](const Event& came) {
             return (came.mask & IN_MOVED_TO) != 0 && came.name == to && came.cookie == left.cookie;
           });
  });
}

}  // namespace zelto::test
