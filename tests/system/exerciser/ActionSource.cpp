#include "tests/system/exerciser/ActionSource.h"

#include <algorithm>
#include <array>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>

namespace zelto::test {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostEntries = 120;

constexpr std::pair<Verb, unsigned> kWeights[] = {
    {Verb::write, 14},          {Verb::append, 6},     {Verb::read, 8},       {Verb::truncate, 5},
    {Verb::writeMapped, 5},     {Verb::readMapped, 4}, {Verb::rename, 12},    {Verb::renameToFree, 3},
    {Verb::unlink, 8},          {Verb::mkdir, 4},      {Verb::rmdir, 3},      {Verb::link, 1},
    {Verb::symlink, 3},         {Verb::setDates, 4},   {Verb::chmod, 4},      {Verb::setAttribute, 3},
    {Verb::removeAttribute, 1}, {Verb::list, 4},       {Verb::stat, 6},       {Verb::open, 8},
    {Verb::writeBy, 10},        {Verb::readBy, 6},     {Verb::truncateBy, 3}, {Verb::punchBy, 1},
    {Verb::syncBy, 2},          {Verb::closeBy, 8},
};

Verb verbAt(unsigned weight) {
  for (const auto& [verb, share] : kWeights) {
    if (weight < share) return verb;
    weight -= share;
  }
  return Verb::stat;
}

constexpr unsigned totalWeight() {
  unsigned total = 0;
  for (const auto& [verb, share] : kWeights) total += share;
  return total;
}

}  // namespace

std::string describe(const Action& action) {
  static constexpr const char* kNames[] = {
      "write",   "append",       "read",    "truncate",     "writeMapped",     "readMapped",
      "rename",  "renameToFree", "unlink",  "mkdir",        "rmdir",           "link",
      "symlink", "setDates",     "chmod",   "setAttribute", "removeAttribute", "list",
      "stat",    "open",         "writeBy", "readBy",       "truncateBy",      "punchBy",
      "syncBy",  "closeBy"};
  return fmt::format("{} \"{}\" \"{}\" slot {} flags {:o} mode {:o} offset {} length {} stamp {}",
                     kNames[static_cast<std::size_t>(action.verb)], action.path, action.other, action.slot,
                     action.flags, action.mode, action.offset, action.length, action.stamp);
}

void ActionSource::look(const fs::path& top) {
  files_.clear();
  folders_ = {""};
  all_.clear();
  for (const auto& entry : fs::recursive_directory_iterator(top)) {
    const std::string path = entry.path().lexically_relative(top).string();
    const bool folder = fs::is_directory(entry.symlink_status());
    (folder ? folders_ : files_).push_back(path);
    all_.push_back(path);
  }
  // As the disk lists them they would differ from run to run.
  std::ranges::sort(files_);
  std::ranges::sort(folders_);
  std::ranges::sort(all_);
}

Action ActionSource::next() {
  if (planned_.empty() && oneIn(25)) planSequence();
  if (planned_.empty()) return single();
  Action action = std::move(planned_.front());
  planned_.pop_front();
  return action;
}

Action ActionSource::single() {
  Action action = make(verbAt(below(totalWeight())));
  shape(action);
  return action;
}

// With a size, place and stamp of its own; about nothing yet.
Action ActionSource::make(Verb verb) {
  static constexpr std::array kModes{0600, 0644, 0640, 0755, 0700, 0664};
  Action action;
  action.verb = verb;
  action.stamp = ++stamp_ * 7919 + below(100'000);
  action.slot = static_cast<int>(below(4));
  action.mode = static_cast<mode_t>(kModes[below(kModes.size())]);
  const unsigned span = oneIn(60) ? 3'000'000 : oneIn(3) ? 100'000 : 3000;
  action.offset = oneIn(3) ? 0 : below(span);
  action.length = below(span);
  return action;
}

void ActionSource::shape(Action& action) {
  static constexpr std::array kFlags{O_RDWR | O_CREAT, O_WRONLY, O_WRONLY | O_CREAT | O_EXCL,
                                     O_WRONLY | O_CREAT | O_TRUNC, O_RDWR};
  static constexpr std::array kHandleFlags{
      O_RDWR | O_CREAT,           O_RDONLY,         O_RDWR, O_RDWR | O_CREAT | O_EXCL,
      O_RDWR | O_CREAT | O_TRUNC, O_RDWR | O_APPEND};
  const bool crowded = all_.size() > kMostEntries;
  const bool known = crowded || !oneIn(6);
  action.path = known ? anyPath() : freshPath();
  action.other = oneIn(3) ? anyPath() : freshPath();
  action.flags = kFlags[below(kFlags.size())];
  if (action.verb == Verb::open) action.flags = kHandleFlags[below(kHandleFlags.size())];
  if (action.verb == Verb::mkdir || action.verb == Verb::symlink) action.path = freshPath();
  if (action.verb == Verb::symlink) action.other = freshName();
  if (action.verb == Verb::list) action.path = anyOf(folders_);
  // The first one is the share itself, which is not to be removed.
  if (action.verb == Verb::rmdir && folders_.size() > 1)
    action.path = folders_[1 + below(static_cast<unsigned>(folders_.size()) - 1)];
  if (crowded && oneIn(2)) action.verb = Verb::unlink;
  if (action.verb == Verb::unlink && !files_.empty()) action.path = anyOf(files_);
}

std::string ActionSource::anyPath() {
  if (all_.empty()) return freshPath();
  return !files_.empty() && oneIn(2) ? anyOf(files_) : anyOf(all_);
}

std::string ActionSource::freshPath() {
  const std::string folder = anyOf(folders_);
  return folder.empty() ? freshName() : folder + "/" + freshName();
}

// From few names, so that one is taken again soon.
std::string ActionSource::freshName() {
  static constexpr const char* kNames[] = {
      "a",   "b",   "c",         "report.txt",     "d", "e", "ä ö", "x.tmp", ".hidden", "a~",
      "~$b", "#c#", ".~lock.d#", "name:with%41?*", "f", "g"};
  const std::string name = kNames[below(std::size(kNames))];
  return oneIn(20) ? name + std::string(30, 'n') : name;
}

void ActionSource::plan(Verb verb, const std::string& path, const std::string& other, int flags) {
  Action action = make(verb);
  action.path = path;
  action.other = other;
  action.flags = flags;
  planned_.push_back(std::move(action));
}

void ActionSource::planSequence() {
  switch (below(all_.size() > kMostEntries ? 5 : 7)) {
    case 0:
      return removeTree();
    case 1:
      return saveByRenaming();
    case 2:
      return saveWithBackup();
    case 3:
      return exchange();
    case 4:
      return moveTreeWhileWriting();
    default:
      return makeTree();
  }
}

void ActionSource::saveByRenaming() {
  const std::string path = anyPath(), beside = path + (oneIn(2) ? ".new" : "~");
  plan(Verb::write, beside, {}, O_WRONLY | O_CREAT | O_TRUNC);
  if (oneIn(2)) plan(Verb::chmod, beside);
  if (oneIn(2)) plan(Verb::setDates, beside);
  plan(Verb::rename, beside, path);
}

void ActionSource::saveWithBackup() {
  const std::string path = anyPath();
  plan(Verb::rename, path, path + "~");
  plan(Verb::write, path, {}, O_WRONLY | O_CREAT | O_EXCL);
  if (oneIn(2)) plan(Verb::unlink, path + "~");
}

// Two change places, over a third name.
void ActionSource::exchange() {
  const std::string one = anyPath(), other = anyPath();
  plan(Verb::renameToFree, one, "between");
  plan(Verb::rename, other, one);
  plan(Verb::rename, "between", other);
}

void ActionSource::makeTree() {
  const std::string top = freshPath();
  plan(Verb::mkdir, top);
  plan(Verb::mkdir, top + "/inner");
  for (const char* name : {"1", "2", "inner/3", "inner/4"}) {
    plan(Verb::write, top + "/" + name, {}, O_WRONLY | O_CREAT);
  }
}

void ActionSource::removeTree() {
  const std::string top = anyOf(folders_);
  if (top.empty()) return;
  for (auto path = all_.rbegin(); path != all_.rend(); ++path) {
    if (!path->starts_with(top + "/")) continue;
    plan(std::ranges::binary_search(folders_, *path) ? Verb::rmdir : Verb::unlink, *path);
  }
  plan(Verb::rmdir, top);
}

void ActionSource::moveTreeWhileWriting() {
  const std::string top = anyOf(folders_), to = freshPath();
  if (top.empty()) return;
  plan(Verb::open, top + "/open", {}, O_RDWR | O_CREAT);
  const int slot = planned_.back().slot;
  plan(Verb::rename, top, to);
  plan(Verb::writeBy, "");
  planned_.back().slot = slot;
  plan(Verb::write, to + "/after", {}, O_WRONLY | O_CREAT);
}

}  // namespace zelto::test
