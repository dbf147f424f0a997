#pragma once

#include <gtk/gtk.h>

// It does not say of all its functions that they are C.
extern "C" {
#include <thunarx/thunarx.h>
}

// What the browser-independent sources call the browser's own names.
#define BROWSER(function) thunarx_##function
#define BROWSER_CLASS(name) Thunarx##name
#define BROWSER_INTERFACE(name) Thunarx##name##Iface
#define BROWSER_CONSTANT(name) THUNARX_##name

// Callbacks of the menu get the window, too.
#define BROWSER_WINDOW_PARAMETER GtkWidget*,
#define BROWSER_HAS_PROPERTY_MODELS 0

// The others are alike in these.
#define BROWSER_ASKS_FOR_EMBLEMS 0
#define BROWSER_MODULE(function) thunar_extension_##function
#define BROWSER_PLUGIN ThunarxProviderPlugin
#define BROWSER_PLUGIN_FUNCTION(function) thunarx_provider_plugin_##function
#define BROWSER_FILE_ITEMS get_file_menu_items
#define BROWSER_BACKGROUND_ITEMS get_folder_menu_items

inline void thunarx_menu_item_set_submenu(ThunarxMenuItem* item, ThunarxMenu* menu) {
  thunarx_menu_item_set_menu(item, menu);
}

inline ThunarxPropertyPage* thunarx_property_page_new(const char*, GtkWidget* label, GtkWidget* content) {
  GtkWidget* const page = thunarx_property_page_new_with_label_widget(label);
  gtk_container_add(GTK_CONTAINER(page), content);
  return THUNARX_PROPERTY_PAGE(page);
}
