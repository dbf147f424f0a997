#pragma once

#include <string_view>

#include "desktop/core/ItemState.h"

namespace zelto::desktop {

// The manager's answers, read from JSON. An answer that is not of the form promised is nothing; an entry
// that is not is left out, and a member that is missing or of another type counts as empty.
// THREAD: any.

// Of Status; without a slash at its end, absolute.
std::optional<std::string> mountPointOf(std::string_view json);
// Of ItemStates and FolderStates.
std::optional<std::vector<PathState>> statesOf(std::string_view json);
// Of AllActions.
std::optional<std::vector<Action>> actionsOf(std::string_view json);
// Of Decorations.
std::optional<std::vector<Badge>> badgesOf(std::string_view json);

}  // namespace zelto::desktop
