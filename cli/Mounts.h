#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/Outcome.h"

namespace zelto::cli {

struct Mount {
  std::string point;
  std::string type;    // "fuse.zelto" for ours
  std::string source;  // "zelto" for ours

  bool isOurs() const { return type == "fuse.zelto"; }
};

// The mounts in the text of /proc/self/mountinfo, in its order; malformed lines are passed over.
std::vector<Mount> parseMounts(std::string_view mountInfo);
// What is mounted at exactly this path now; the topmost where there are several.
std::optional<Mount> mountAt(const std::string& path);

enum class MountAnswer {
  answers,
  disconnected,  // the process behind it is gone
  refuses,       // any other error
  hangs,
};
// Asks the file system there how full it is, from a process of its own, since a dead one may never answer.
// BLOCKS: up to the limit.
MountAnswer askMount(const std::string& path, std::chrono::milliseconds limit);

// Takes the mount away at once, and for its users once they let go. ERRORS: it is still there afterwards.
Outcome unmount(const std::string& path);

}  // namespace zelto::cli
