#pragma once

#include <libcaja-extension/caja-extension-types.h>
#include <libcaja-extension/caja-file-info.h>
#include <libcaja-extension/caja-info-provider.h>
#include <libcaja-extension/caja-menu-provider.h>
#include <libcaja-extension/caja-property-page-provider.h>

// What the browser-independent sources call the browser's own names.
#define BROWSER(function) caja_##function
#define BROWSER_CLASS(name) Caja##name
#define BROWSER_INTERFACE(name) Caja##name##Iface
#define BROWSER_CONSTANT(name) CAJA_##name

// Callbacks of the menu get the window, too.
#define BROWSER_WINDOW_PARAMETER GtkWidget*,
#define BROWSER_HAS_PROPERTY_MODELS 0
