// Thunar shows the emblems that it has read with a file, from the user's own settings for it. It asks no
// plug-in for some; but what it has read of a file can be added to, as it does itself when the user chooses
// other emblems. Nothing of that is stored; only when the user chooses some then, Thunar stores ours with
// them, and what is read of them later is taken out again.
#include "desktop/core/Emblems.h"
#include "desktop/gtk/Extension.h"

namespace zelto::desktop {
namespace {

constexpr const char* kEmblems = "metadata::emblems";

std::vector<std::string> iconsIn(GFileInfo* info) {
  std::vector<std::string> icons;
  char** const names = g_file_info_get_attribute_stringv(info, kEmblems);
  for (char** name = names; name != nullptr && *name != nullptr; ++name) icons.emplace_back(*name);
  return icons;
}

void setIcons(GFileInfo* info, std::vector<std::string>& icons) {
  if (icons.empty()) return g_file_info_remove_attribute(info, kEmblems);
  std::vector<char*> names;
  for (std::string& icon : icons) names.push_back(icon.data());
  names.push_back(nullptr);
  g_file_info_set_attribute_stringv(info, kEmblems, names.data());
}

// True when the file has other emblems now.
bool setEmblems(FileInfo* file, const std::vector<std::string>& emblems) {
  const ObjectPointer<GFileInfo> info(thunarx_file_info_get_file_info(file));
  if (!info) return false;
  const std::vector<std::string> before = iconsIn(info.get());
  std::vector<std::string> after = iconsWith(before, emblems);
  if (after == before) return false;
  setIcons(info.get(), after);
  return true;
}

}  // namespace

void Extension::seen(FileInfo* file) {
  const std::string path = pathOf(file);
  if (path.empty()) return;
  show(file, path);
  if (const auto state = desktop_.known(path)) return apply(file, *state);
  if (!asked_.insert(path).second) return;
  auto answered = [this, path, held = shared(file)](const ItemState* state) {
    asked_.erase(path);
    apply(held.get(), state);
  };
  desktop_.ask(path, std::move(answered));
}

void Extension::apply(FileInfo* file, const ItemState* state) {
  const bool changed = setEmblems(file, state != nullptr ? emblemsOf(*state) : std::vector<std::string>());
  // Whoever draws a file asks for its emblems. To tell the browser that this file has changed would have it
  // look for it in all of its rows, and for its thumbnail.
  if (changed) views_.redraw();
}

void Extension::renewFile(FileInfo* file) { seen(file); }

// There is no way to renew an open one; the next one is made anew.
void Extension::renewMenu() { menuIsShort_ = false; }

}  // namespace zelto::desktop
