#pragma once

#include "desktop/core/ItemState.h"

namespace zelto::desktop {

// The one place that says how a badge's picture is called in the icon theme: the browsers put "emblem-"
// before the name of an emblem. The build installs the pictures under these names (desktop/CMakeLists.txt).
inline constexpr const char* kSendingEmblem = "it.pellam.Zelto.State.sending";
inline constexpr const char* kFailedEmblem = "it.pellam.Zelto.State.failed";

// The emblems of an item: its decorations, in their order, then what becomes of a local change.
std::vector<std::string> emblemsOf(const ItemState& state);
inline std::string iconName(const std::string& emblem) { return "emblem-" + emblem; }
// The pictures of a file that the user may give some, too: theirs of `present`, and those of the emblems.
std::vector<std::string> iconsWith(const std::vector<std::string>& present,
                                   const std::vector<std::string>& emblems);

}  // namespace zelto::desktop
