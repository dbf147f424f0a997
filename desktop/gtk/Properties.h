#pragma once

#include "desktop/gtk/Extension.h"

namespace zelto::desktop {

// The interface by which the browser asks for what it shows in its properties dialog, and its functions.
GType propertiesInterface();
void fillPropertiesInterface(gpointer interface, gpointer);

}  // namespace zelto::desktop
