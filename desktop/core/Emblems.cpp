#include "desktop/core/Emblems.h"

namespace zelto::desktop {

std::vector<std::string> emblemsOf(const ItemState& state) {
  std::vector<std::string> emblems = state.decorations;
  if (state.state == "failed") emblems.emplace_back(kFailedEmblem);
  if (state.state == "pending" || state.state == "uploading" || state.state == "waiting") {
    emblems.emplace_back(kSendingEmblem);
  }
  return emblems;
}

}  // namespace zelto::desktop
