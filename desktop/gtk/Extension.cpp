#include "desktop/gtk/Extension.h"

#include "desktop/gtk/Menu.h"

namespace zelto::desktop {
namespace {

GQuark shownKey() { return g_quark_from_static_string("zelto-shown"); }

}  // namespace

std::string pathOf(FileInfo* file) {
  const ObjectPointer<GFile> location(BROWSER(file_info_get_location)(file));
  const char* const path = location ? g_file_peek_path(location.get()) : nullptr;
  return path != nullptr ? path : "";
}

struct Extension::Shown {
  Extension* extension;
  std::string path;

  // Called by the file when it ends.
  static void end(gpointer data) {
    const std::unique_ptr<Shown> shown(static_cast<Shown*>(data));
    shown->extension->shown_.erase(shown->path);
    shown->extension->desktop_.unobserve(shown->path);
  }
};

Extension::Extension(GObject* provider) : provider_(provider), desktop_(*this) {}

Extension::~Extension() {
  // Each takes itself out of the table.
  while (!shown_.empty()) g_object_set_qdata(G_OBJECT(shown_.begin()->second), shownKey(), nullptr);
}

void Extension::show(FileInfo* file, const std::string& path) {
  GObject* const object = G_OBJECT(file);
  const auto* const before = static_cast<const Shown*>(g_object_get_qdata(object, shownKey()));
  // A file that is renamed stays the same object.
  if (before != nullptr && before->path == path) return;
  if (before != nullptr) g_object_set_qdata(object, shownKey(), nullptr);
  const auto other = shown_.find(path);
  if (other != shown_.end()) g_object_set_qdata(G_OBJECT(other->second), shownKey(), nullptr);
  shown_.emplace(path, file);
  g_object_set_qdata_full(object, shownKey(), new Shown{this, path}, Shown::end);
  desktop_.observe(path);
}

void Extension::statesChanged(const std::vector<std::string>& paths) {
  renew(paths);
  if (menuIsShort_) renewMenu();
}

void Extension::treeChanged(const std::string& mountPoint) {
  std::vector<std::string> paths;
  for (const auto& [path, file] : shown_) {
    if (isWithin(path, mountPoint)) paths.push_back(path);
  }
  renew(paths);
  renewMenu();
}

void Extension::renew(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    const auto file = shown_.find(path);
    if (file != shown_.end()) renewFile(file->second);
  }
}

GList* Extension::menu(GList* files) {
  std::vector<std::string> paths;
  for (const GList* link = files; link != nullptr; link = link->next) {
    paths.push_back(pathOf(static_cast<FileInfo*>(link->data)));
  }
  const auto offered = desktop_.offered(paths);
  if (!offered) menuIsShort_ = true;
  return menuOf(*this, provider_, offered.value_or(std::vector<Action>()), paths);
}

}  // namespace zelto::desktop
