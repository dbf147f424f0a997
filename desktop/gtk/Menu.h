#pragma once

#include "desktop/gtk/Extension.h"

namespace zelto::desktop {

// One entry with the actions below it; null for no actions. The entries keep `provider`, which owns the
// extension, alive. OWNER: the caller, of the list and its element.
GList* menuOf(Extension& extension, GObject* provider, const std::vector<Action>& actions,
              const std::vector<std::string>& paths);

}  // namespace zelto::desktop
