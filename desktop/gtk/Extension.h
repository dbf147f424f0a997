#pragma once

#include <unordered_map>

#include "desktop/core/Desktop.h"
#include "desktop/gtk/Browser.h"

namespace zelto::desktop {

// What the browser asks the plug-in, answered from the managers' states; tells the browser when an item it
// shows has another state.
// THREAD: the main one. BLOCKS: never.
class Extension : private DesktopListener {
 public:
  // `provider` is the object that the browser knows; it owns this one.
  explicit Extension(GObject* provider);
  ~Extension() override;

  OperationResult update(FileInfo* file, GClosure* complete, OperationHandle** handle);
  void cancel(OperationHandle* handle);
  // The entries for these items together; a list as the browser takes it over.
  GList* menu(GList* files);
  // What there is to show of the item beside its usual properties.
  std::vector<InfoRow> rows(FileInfo* file);
  void perform(const Action& action, const std::vector<std::string>& paths) {
    desktop_.perform(action, paths);
  }

 private:
  struct Operation;
  // Hangs at a file that is on show, and ends with it.
  struct Shown;

  void statesChanged(const std::vector<std::string>& paths) override;
  void treeChanged(const std::string& mountPoint) override;

  void apply(FileInfo* file, const std::string& path, const ItemState* state);
  void show(FileInfo* file, const std::string& path);
  void renew(const std::vector<std::string>& paths);
  void renewMenu();

  GObject* provider_;
  std::unordered_map<std::string, FileInfo*> shown_;
  // The browser has been given a menu without what was not known then.
  bool menuIsShort_ = false;
  Desktop desktop_;
};

}  // namespace zelto::desktop
