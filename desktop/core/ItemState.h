#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zelto::desktop {

// What the manager tells of one item; the words are those of platform/bus/ManagerInterface.h.
struct ItemState {
  bool known = false;
  std::vector<std::string> decorations;
  std::vector<std::string> actions;
  std::string state;
  std::string reason;
  std::string materialised;

  friend bool operator==(const ItemState&, const ItemState&) = default;
};
struct PathState {
  std::string path;
  ItemState state;
};
struct Action {
  std::string identifier;
  std::string title;

  friend bool operator==(const Action&, const Action&) = default;
};
struct Badge {
  std::string identifier;
  std::string label;

  friend bool operator==(const Badge&, const Badge&) = default;
};

}  // namespace zelto::desktop
