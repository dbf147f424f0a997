#pragma once

#include <deque>
#include <map>
#include <set>

#include "desktop/core/Desktop.h"

namespace zelto::desktop {

// What Dolphin's two plug-ins share: one view of the managers, in a library that both are linked to. Dolphin
// does not tell when it shows an item no more, so the folders that were asked about last count as shown.
// THREAD: the main one, whose event loop runs GLib's main context.
class __attribute__((visibility("default"))) Items : private DesktopListener {
 public:
  static Items& instance();

  // The icons to be laid over the item's, as far as known now. Where they are not yet known, or change, the
  // listener is told.
  std::vector<std::string> overlays(const std::string& path);
  using Listener = std::function<void(const std::string& path, const std::vector<std::string>& icons)>;
  void setListener(Listener listener) { listener_ = std::move(listener); }

  // As Desktop has them.
  std::optional<std::vector<Action>> offered(const std::vector<std::string>& paths);
  void perform(const Action& action, const std::vector<std::string>& paths);

 private:
  Items() : desktop_(*this) {}

  void statesChanged(const std::vector<std::string>& paths) override;
  void treeChanged(const std::string& mountPoint) override;
  void show(const std::string& path);
  void tell(const std::string& path);

  Listener listener_;
  std::map<std::string, std::set<std::string>> shown_;  // paths by folder
  std::deque<std::string> folders_;                     // the last one asked about last
  std::set<std::string> asked_;
  Desktop desktop_;
};

}  // namespace zelto::desktop
