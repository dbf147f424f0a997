#pragma once

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

 private:
  gulong hook_;
};

}  // namespace zelto::desktop

#endif
