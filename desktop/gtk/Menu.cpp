#include "desktop/gtk/Menu.h"

namespace zelto::desktop {
namespace {

// What an entry does when it is chosen.
struct Choice {
  Extension& extension;
  ObjectPointer<GObject> provider;
  Action action;
  std::vector<std::string> paths;
};

void chosen(MenuItem*, gpointer data) {
  const auto& choice = *static_cast<Choice*>(data);
  choice.extension.desktop().perform(choice.action, choice.paths);
}

void dropChoice(gpointer data, GClosure*) { delete static_cast<Choice*>(data); }

MenuItem* entry(const std::string& name, const std::string& label) {
  return BROWSER(menu_item_new)(("Zelto::" + name).c_str(), label.c_str(), "", nullptr);
}

}  // namespace

GList* menuOf(Extension& extension, GObject* provider, const std::vector<Action>& actions,
              const std::vector<std::string>& paths) {
  if (actions.empty()) return nullptr;
  MenuItem* const top = entry("Menu", "Zelto");
  BROWSER_CLASS(Menu)* const menu = BROWSER(menu_new)();
  for (const Action& action : actions) {
    MenuItem* const item = entry(action.identifier, action.title);
    g_signal_connect_data(item, "activate", G_CALLBACK(chosen),
                          new Choice{extension, shared(provider), action, paths}, dropChoice,
                          GConnectFlags(0));
    BROWSER(menu_append_item)(menu, item);
    g_object_unref(item);
  }
  BROWSER(menu_item_set_submenu)(top, menu);
  g_object_unref(menu);
  return g_list_append(nullptr, top);
}

}  // namespace zelto::desktop
