#pragma once

#include <unordered_map>
#include <unordered_set>

#include "desktop/core/Desktop.h"
#include "desktop/gtk/Browser.h"
#include "desktop/gtk/Views.h"

namespace zelto::desktop {

// What the browser asks the plug-in, answered from the managers' states; tells the browser when an item it
// shows has another state. Updates.cpp is for the browsers that ask for a file's emblems, Thunar.cpp for the
// one that does not.
// THREAD: the main one. BLOCKS: never.
class Extension : private DesktopListener {
 public:
  // `provider` is the object that the browser knows; it owns this one.
  explicit Extension(GObject* provider);
  ~Extension() override;

#if BROWSER_ASKS_FOR_EMBLEMS
  OperationResult update(FileInfo* file, GClosure* complete, OperationHandle** handle);
  void cancel(OperationHandle* handle);
#else
  // A file that a window shows now, or that the browser has read again.
  void seen(FileInfo* file);
#endif
  // The entries for these items together; a list as the browser takes it over.
  GList* menu(GList* files);
  Desktop& desktop() { return desktop_; }

 private:
  struct Operation;
  // Hangs at a file that is on show, and ends with it.
  struct Shown;

  void statesChanged(const std::vector<std::string>& paths) override;
  void treeChanged(const std::string& mountPoint) override;

  // Also a file of no manager, since one may come later.
  void show(FileInfo* file, const std::string& path);
  void renew(const std::vector<std::string>& paths);
  // Each browser's own.
  void apply(FileInfo* file, const ItemState* state);
  void renewFile(FileInfo* file);
  void renewMenu();

  GObject* provider_;
  std::unordered_map<std::string, FileInfo*> shown_;
  // The browser has been given a menu without what was not known then.
  bool menuIsShort_ = false;
#if !BROWSER_ASKS_FOR_EMBLEMS
  std::unordered_set<std::string> asked_;
  Views views_{provider_};
#endif
  Desktop desktop_;
};

// Defined beside the provider: the extension that belongs to it.
Extension& extensionOf(gpointer provider);
// Empty for what is no file of this machine.
std::string pathOf(FileInfo* file);

}  // namespace zelto::desktop
