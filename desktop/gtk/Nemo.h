#pragma once

#include <libnemo-extension/nemo-extension-types.h>
#include <libnemo-extension/nemo-file-info.h>
#include <libnemo-extension/nemo-info-provider.h>
#include <libnemo-extension/nemo-menu-provider.h>
#include <libnemo-extension/nemo-property-page-provider.h>

// What the browser-independent sources call the browser's own names.
#define BROWSER(function) nemo_##function
#define BROWSER_CLASS(name) Nemo##name
#define BROWSER_INTERFACE(name) Nemo##name##Interface
#define BROWSER_CONSTANT(name) NEMO_##name

// Callbacks of the menu get the window, too.
#define BROWSER_WINDOW_PARAMETER GtkWidget*,
#define BROWSER_HAS_PROPERTY_MODELS 0
