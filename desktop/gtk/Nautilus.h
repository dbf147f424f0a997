#pragma once

#include <gio/gio.h>

// This one does not say of all its functions that they are C.
extern "C" {
#include <nautilus-extension.h>
}

// What the browser-independent sources call the browser's own names.
#define BROWSER(function) nautilus_##function
#define BROWSER_CLASS(name) Nautilus##name
#define BROWSER_INTERFACE(name) Nautilus##name##Interface
#define BROWSER_CONSTANT(name) NAUTILUS_##name

// Callbacks of the menu get the folder or the files alone.
#define BROWSER_WINDOW_PARAMETER
// Rows for its own properties dialog, instead of a page of widgets.
#define BROWSER_HAS_PROPERTY_MODELS 1
