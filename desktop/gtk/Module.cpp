// What the browser finds in the plug-in, and the object that it makes of it.
#include "desktop/gtk/Extension.h"
#include "desktop/gtk/Properties.h"

namespace zelto::desktop {
namespace {

struct Provider {
  GObject parent;
  Extension* extension;
};

GType providerType = 0;
gpointer parentClass = nullptr;

void finalize(GObject* object) {
  delete reinterpret_cast<Provider*>(object)->extension;
  G_OBJECT_CLASS(parentClass)->finalize(object);
}

void initializeClass(gpointer cls, gpointer) {
  parentClass = g_type_class_peek_parent(cls);
  G_OBJECT_CLASS(cls)->finalize = finalize;
}

void initialize(GTypeInstance* instance, gpointer) {
  auto* const provider = reinterpret_cast<Provider*>(instance);
  provider->extension = new Extension(&provider->parent);
#if !BROWSER_ASKS_FOR_EMBLEMS
  // Thunar drops a provider that it has not asked for a while, but its windows are to have their emblems.
  g_object_ref(provider);
#endif
}

#if BROWSER_ASKS_FOR_EMBLEMS

OperationResult update(InfoProvider* provider, FileInfo* file, GClosure* complete, OperationHandle** handle) {
  return extensionOf(provider).update(file, complete, handle);
}

void cancel(InfoProvider* provider, OperationHandle* handle) { extensionOf(provider).cancel(handle); }

void fillInfoInterface(gpointer interface, gpointer) {
  auto* const info = static_cast<BROWSER_INTERFACE(InfoProvider)*>(interface);
  info->update_file_info = update;
  info->cancel_update = cancel;
}

#endif

GList* fileItems(MenuProvider* provider, BROWSER_WINDOW_PARAMETER GList* files) {
  return extensionOf(provider).menu(files);
}

GList* backgroundItems(MenuProvider* provider, BROWSER_WINDOW_PARAMETER FileInfo* folder) {
  GList files{folder, nullptr, nullptr};
  return extensionOf(provider).menu(&files);
}

void fillMenuInterface(gpointer interface, gpointer) {
  auto* const menu = static_cast<BROWSER_INTERFACE(MenuProvider)*>(interface);
  menu->BROWSER_FILE_ITEMS = fileItems;
  menu->BROWSER_BACKGROUND_ITEMS = backgroundItems;
}

void add(BROWSER_PLUGIN* plugin, GType interface, GInterfaceInitFunc fill) {
  const GInterfaceInfo info{fill, nullptr, nullptr};
  BROWSER_PLUGIN_FUNCTION(add_interface)(plugin, providerType, interface, &info);
}

void registerProvider(BROWSER_PLUGIN* plugin) {
  const GTypeInfo info{sizeof(GObjectClass), nullptr, nullptr,    initializeClass, nullptr, nullptr,
                       sizeof(Provider),     0,       initialize, nullptr};
  providerType =
      BROWSER_PLUGIN_FUNCTION(register_type)(plugin, G_TYPE_OBJECT, "ZeltoProvider", &info, GTypeFlags(0));
#if BROWSER_ASKS_FOR_EMBLEMS
  add(plugin, BROWSER_CONSTANT(TYPE_INFO_PROVIDER), fillInfoInterface);
#endif
  add(plugin, BROWSER_CONSTANT(TYPE_MENU_PROVIDER), fillMenuInterface);
  add(plugin, propertiesInterface(), fillPropertiesInterface);
}

}  // namespace

Extension& extensionOf(gpointer provider) { return *static_cast<Provider*>(provider)->extension; }

}  // namespace zelto::desktop

// The names are the browser's.
extern "C" {
G_MODULE_EXPORT void BROWSER_MODULE(initialize)(BROWSER_PLUGIN* plugin) {
  zelto::desktop::registerProvider(plugin);
}
G_MODULE_EXPORT void BROWSER_MODULE(shutdown)() {}
G_MODULE_EXPORT void BROWSER_MODULE(list_types)(const GType** types, int* count) {
  *types = &zelto::desktop::providerType;
  *count = 1;
}
}
