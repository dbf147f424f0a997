#include "desktop/core/Emblems.h"

#include <algorithm>

namespace zelto::desktop {

std::vector<std::string> emblemsOf(const ItemState& state) {
  std::vector<std::string> emblems = state.decorations;
  if (state.state == "failed") emblems.emplace_back(kFailedEmblem);
  if (state.state == "pending" || state.state == "uploading" || state.state == "waiting") {
    emblems.emplace_back(kSendingEmblem);
  }
  return emblems;
}

std::vector<std::string> iconsWith(const std::vector<std::string>& present,
                                   const std::vector<std::string>& emblems) {
  // All names of this program begin so, those of decorations as well.
  static const std::string kOurs = iconName("it.pellam.Zelto.");
  std::vector<std::string> icons;
  std::ranges::copy_if(present, std::back_inserter(icons),
                       [](const std::string& icon) { return !icon.starts_with(kOurs); });
  std::ranges::transform(emblems, std::back_inserter(icons), iconName);
  return icons;
}

}  // namespace zelto::desktop
