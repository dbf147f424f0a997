#pragma once

#include "desktop/gtk/Extension.h"

namespace zelto::desktop {

// The interface by which the browser asks for what it shows in its properties dialog, and its functions.
GType propertiesInterface();
void fillPropertiesInterface(gpointer interface, gpointer);

// Defined beside the provider: the extension that belongs to it.
Extension& extensionOf(gpointer provider);

}  // namespace zelto::desktop
