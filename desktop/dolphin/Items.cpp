#include "desktop/dolphin/Items.h"

#include <algorithm>

#include "desktop/core/Emblems.h"

namespace zelto::desktop {
namespace {

constexpr std::size_t kFoldersShown = 16;

std::vector<std::string> iconsOf(const ItemState* state) {
  std::vector<std::string> icons;
  if (state == nullptr) return icons;
  for (const std::string& emblem : emblemsOf(*state)) icons.push_back(iconName(emblem));
  return icons;
}

}  // namespace

// Never ended: the browser's main loop may outlive what ends at exit.
Items& Items::instance() {
  static auto* const items = new Items;
  return *items;
}

std::vector<std::string> Items::overlays(const std::string& path) {
  // Also what is of no manager, since one may come later.
  show(path);
  if (const auto state = desktop_.known(path)) return iconsOf(*state);
  if (asked_.insert(path).second) {
    desktop_.ask(path, [this, path](const ItemState* state) {
      asked_.erase(path);
      if (listener_) listener_(path, iconsOf(state));
    });
  }
  return {};
}

std::optional<std::vector<Action>> Items::offered(const std::vector<std::string>& paths) {
  return desktop_.offered(paths);
}

void Items::perform(const Action& action, const std::vector<std::string>& paths) {
  desktop_.perform(action, paths);
}

void Items::show(const std::string& path) {
  const std::string folder = parentOf(path);
  std::erase(folders_, folder);
  folders_.push_back(folder);
  if (shown_[folder].insert(path).second) desktop_.observe(path);
  if (folders_.size() <= kFoldersShown) return;
  const auto oldest = shown_.extract(folders_.front());
  folders_.pop_front();
  for (const std::string& gone : oldest.mapped()) desktop_.unobserve(gone);
}

void Items::statesChanged(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    const auto folder = shown_.find(parentOf(path));
    if (folder != shown_.end() && folder->second.contains(path)) tell(path);
  }
}

void Items::treeChanged(const std::string& mountPoint) {
  std::vector<std::string> paths;
  for (const auto& [folder, items] : shown_) {
    std::ranges::copy_if(items, std::back_inserter(paths),
                         [&](const std::string& path) { return isWithin(path, mountPoint); });
  }
  for (const std::string& path : paths) tell(path);
}

// Asks, if need be; the answer is told then.
void Items::tell(const std::string& path) {
  const std::vector<std::string> icons = overlays(path);
  if (listener_ && !asked_.contains(path)) listener_(path, icons);
}

}  // namespace zelto::desktop
