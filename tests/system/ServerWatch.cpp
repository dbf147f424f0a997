#include "tests/system/ServerWatch.h"

#include <gtest/gtest.h>
#include <sys/inotify.h>

namespace zelto::test {

ServerWatch::ServerWatch(const std::filesystem::path& folder)
    : inotify_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  EXPECT_GE(::inotify_add_watch(inotify_.get(), folder.c_str(), IN_CREATE | IN_MOVED_TO), 0) << errno;
}

const std::set<std::string>& ServerWatch::names() {
  alignas(inotify_event) char buffer[1 << 14];
  for (ssize_t count = 0; (count = ::read(inotify_.get(), buffer, sizeof buffer)) > 0;) {
    for (const char* at = buffer; at < buffer + count;) {
      const auto* const event = reinterpret_cast<const inotify_event*>(at);
      EXPECT_EQ(event->mask & IN_Q_OVERFLOW, 0U) << "names were missed";
      const std::string name = event->len > 0 ? event->name : "";
      if (!name.empty() && !name.starts_with(".zelto-upload-")) names_.insert(name);
      at += sizeof(inotify_event) + event->len;
    }
  }
  return names_;
}

}  // namespace zelto::test
