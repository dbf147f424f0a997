#include "desktop/gtk/Properties.h"

namespace zelto::desktop {
namespace {

// Rows are shown for one item only: those of several would have to be put together.
std::vector<InfoRow> rowsFor(gpointer provider, GList* files) {
  if (files == nullptr || files->next != nullptr) return {};
  auto* const file = static_cast<FileInfo*>(files->data);
  const bool isFolder = BROWSER(file_info_is_directory)(file) != FALSE;
  return extensionOf(provider).desktop().rows(pathOf(file), isFolder);
}

#if BROWSER_HAS_PROPERTY_MODELS

GList* models(BROWSER_CLASS(PropertiesModelProvider) * provider, GList* files) {
  const auto rows = rowsFor(provider, files);
  if (rows.empty()) return nullptr;
  const ObjectPointer<GListStore> store(g_list_store_new(BROWSER_CONSTANT(TYPE_PROPERTIES_ITEM)));
  for (const InfoRow& row : rows) {
    const ObjectPointer<BROWSER_CLASS(PropertiesItem)> item(
        BROWSER(properties_item_new)(row.name.c_str(), row.value.c_str()));
    g_list_store_append(store.get(), item.get());
  }
  return g_list_append(nullptr, BROWSER(properties_model_new)("Zelto", G_LIST_MODEL(store.get())));
}

}  // namespace

GType propertiesInterface() { return BROWSER_CONSTANT(TYPE_PROPERTIES_MODEL_PROVIDER); }

void fillPropertiesInterface(gpointer interface, gpointer) {
  static_cast<BROWSER_INTERFACE(PropertiesModelProvider)*>(interface)->get_models = models;
}

#else

GtkWidget* label(const std::string& text, bool isName) {
  GtkWidget* const widget = gtk_label_new(text.c_str());
  gtk_label_set_xalign(GTK_LABEL(widget), isName ? 1.0F : 0.0F);
  gtk_label_set_yalign(GTK_LABEL(widget), 0.0F);
  gtk_label_set_line_wrap(GTK_LABEL(widget), TRUE);
  gtk_label_set_selectable(GTK_LABEL(widget), isName ? FALSE : TRUE);
  return widget;
}

GList* pages(BROWSER_CLASS(PropertyPageProvider) * provider, GList* files) {
  const auto rows = rowsFor(provider, files);
  if (rows.empty()) return nullptr;
  GtkWidget* const grid = gtk_grid_new();
  gtk_grid_set_column_spacing(GTK_GRID(grid), 12);
  gtk_grid_set_row_spacing(GTK_GRID(grid), 6);
  gtk_container_set_border_width(GTK_CONTAINER(grid), 12);
  int line = 0;
  for (const InfoRow& row : rows) {
    gtk_grid_attach(GTK_GRID(grid), label(row.name + ":", true), 0, line, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), label(row.value, false), 1, line++, 1, 1);
  }
  gtk_widget_show_all(grid);
  return g_list_append(nullptr, BROWSER(property_page_new)("Zelto::Page", gtk_label_new("Zelto"), grid));
}

}  // namespace

GType propertiesInterface() { return BROWSER_CONSTANT(TYPE_PROPERTY_PAGE_PROVIDER); }

void fillPropertiesInterface(gpointer interface, gpointer) {
  static_cast<BROWSER_INTERFACE(PropertyPageProvider)*>(interface)->get_pages = pages;
}

#endif

}  // namespace zelto::desktop
