#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "tests/system/TestSystem.h"

namespace zelto::test {

// What the kernel tells somebody who watches a folder for changes, as a file browser does.
class FolderWatch {
 public:
  explicit FolderWatch(const fs::path& folder);
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  // Whether there has been such an event (IN_CREATE, …, also several at once) for the name.
  bool saw(std::uint32_t event, const std::string& name);
  // "" once there has been one; else what there has been.
  std::string waitFor(std::uint32_t event, const std::string& name);
  // All events so far, as "MASK NAME" in the order that they came in.
  const std::vector<std::string>& all();
  // Two events that belong together: the name that something was moved from and its new one.
  bool sawMove(const std::string& from, const std::string& to);

 private:
  struct Event {
    std::uint32_t mask;
    std::uint32_t cookie;
    std::string name;
  };

  void read();

  int descriptor_;
  std::vector<Event> events_;
  std::vector<std::string> texts_;
};

}  // namespace zelto::test
