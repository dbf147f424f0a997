#pragma once

#include <unordered_set>

#include "desktop/gtk/Browser.h"

#if !BROWSER_ASKS_FOR_EMBLEMS

namespace zelto::desktop {

// Finds the files that this process's windows show: the rows of every view whose model has files in a column.
// The extension is told of each row when it comes, and when it has changed.
// THREAD: the main one. BLOCKS: never.
class Views {
 public:
  // `provider` owns the extension.
  explicit Views(GObject* provider);
  ~Views();
  Views(const Views&) = delete;
  Views& operator=(const Views&) = delete;

  // What they show of their files has changed.
  void redraw();

 private:
  static gboolean mapped(GSignalInvocationHint*, guint, const GValue* values, gpointer self);
  static void destroyed(GtkWidget* view, gpointer self);

  GObject* provider_;
  std::unordered_set<GtkWidget*> views_;
  gulong hook_;
};

}  // namespace zelto::desktop

#endif
