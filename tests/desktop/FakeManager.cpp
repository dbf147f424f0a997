#include "tests/desktop/FakeManager.h"

#include <algorithm>
#include <cstdlib>
#include <set>

#include <gtest/gtest.h>

namespace zelto::desktop::test {
namespace {

constexpr const char* kManagerXml = R"(<node><interface name="it.pellam.Zelto.FileProvider1">
  <method name="Status"><arg type="s" direction="out"/></method>
  <method name="AllActions"><arg type="s" direction="out"/></method>
  <method name="Decorations"><arg type="s" direction="out"/></method>
  <method name="ItemStates"><arg type="aay" direction="in"/><arg type="s" direction="out"/></method>
  <method name="FolderStates"><arg type="ay" direction="in"/><arg type="s" direction="out"/></method>
  <method name="Thumbnails"><arg type="aay" direction="in"/></method>
  <method name="Perform"><arg type="s" direction="in"/><arg type="aay" direction="in"/></method>
  <signal name="ItemsChanged"><arg type="aay"/></signal></interface></node>)";
constexpr const char* kNotificationsXml = R"(<node><interface name="org.freedesktop.Notifications">
  <method name="Notify"><arg type="s" direction="in"/><arg type="u" direction="in"/>
    <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="as" direction="in"/><arg type="a{sv}" direction="in"/><arg type="i" direction="in"/>
    <arg type="u" direction="out"/></method></interface></node>)";

ObjectPointer<GDBusConnection> connect() {
  constexpr auto kFlags = GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                               G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  ObjectPointer<GDBusConnection> bus(g_dbus_connection_new_for_address_sync(
      std::getenv("DBUS_SESSION_BUS_ADDRESS"), kFlags, nullptr, nullptr, nullptr));
  EXPECT_TRUE(bus);
  return bus;
}

// The connections of those who are not yet ended.
std::set<GDBusConnection*>& serving() {
  static std::set<GDBusConnection*> connections;
  return connections;
}

// Gives what ends it.
guint serve(GDBusConnection& bus, const std::string& object, const char* xml,
            GDBusInterfaceMethodCallFunc called, gpointer data) {
  const GDBusInterfaceVTable table{called, nullptr, nullptr, {}};
  GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(xml, nullptr);
  const guint registration = g_dbus_connection_register_object(&bus, object.c_str(), node->interfaces[0],
                                                               &table, data, nullptr, nullptr);
  EXPECT_NE(0U, registration);
  serving().insert(&bus);
  g_dbus_node_info_unref(node);
  return registration;
}

void leave(GDBusConnection& bus, guint registration) {
  serving().erase(&bus);
  g_dbus_connection_unregister_object(&bus, registration);
  g_dbus_connection_close_sync(&bus, nullptr, nullptr);
}

void own(GDBusConnection& bus, const std::string& name) {
  const VariantPointer reply(g_dbus_connection_call_sync(
      &bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
      g_variant_new("(su)", name.c_str(), 4U), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
  EXPECT_TRUE(reply);
}

std::string found(const std::map<std::string, std::string>& all, const std::string& key) {
  const auto entry = all.find(key);
  return "[" + (entry != all.end() ? entry->second : "") + "]";
}

std::string bytesOf(GVariant* value) {
  gsize size = 0;
  const void* const data = g_variant_get_fixed_array(value, &size, 1);
  return {static_cast<const char*>(data), size};
}

// The arguments as one text, behind spaces.
std::string textOfArguments(GVariant* arguments) {
  std::string text;
  for (gsize i = 0; i < g_variant_n_children(arguments); ++i) {
    const VariantPointer value(g_variant_get_child_value(arguments, i));
    if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE("s"))) {
      text += std::string(" ") + g_variant_get_string(value.get(), nullptr);
    } else if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE("ay"))) {
      text += " " + bytesOf(value.get());
    } else {
      for (const std::string& path : pathsOf(value.get())) text += " " + path;
    }
  }
  return text;
}

void notified(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* arguments,
              GDBusMethodInvocation* invocation, gpointer self) {
  const char *title = nullptr, *text = nullptr;
  g_variant_get_child(arguments, 3, "&s", &title);
  g_variant_get_child(arguments, 4, "&s", &text);
  static_cast<FakeNotifications*>(self)->shown.push_back(std::string(title) + ": " + text);
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(u)", 1U));
}

}  // namespace

bool runUntil(const std::function<bool()>& condition) {
  const gint64 end = g_get_monotonic_time() + 10 * G_USEC_PER_SEC;
  // Wakes the loop when nothing happens any more.
  const guint tick = g_timeout_add(
      20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  while (!condition() && g_get_monotonic_time() < end) g_main_context_iteration(nullptr, TRUE);
  g_source_remove(tick);
  return condition();
}

std::string stateJson(const std::string& path, const std::string& decorations, const std::string& actions,
                      const std::string& state, bool known) {
  const auto list = [](const std::string& words) {
    std::string text;
    for (const char word : words) text += (text.empty() ? "\"" : ",\"") + std::string(1, word) + "\"";
    return "[" + text + "]";
  };
  return "{\"path\":\"" + path + "\",\"known\":" + (known ? "true" : "false") +
         ",\"decorations\":" + list(decorations) + ",\"actions\":" + list(actions) + ",\"state\":\"" + state +
         "\",\"reason\":\"\",\"materialised\":\"none\"}";
}

FakeManager::FakeManager(const std::string& domain) : bus_(connect()), object_(manager::objectPath(domain)) {
  serve(*bus_, object_, kManagerXml, called, this);
  own(*bus_, manager::busName(domain));
}

FakeManager::~FakeManager() { leave(*bus_, registration_); }

void FakeManager::called(GDBusConnection*, const char*, const char*, const char*, const char* method,
                         GVariant* arguments, GDBusMethodInvocation* invocation, gpointer self) {
  // A call that had arrived when the manager ended is delivered after that.
  if (!serving().contains(g_dbus_method_invocation_get_connection(invocation))) {
    g_object_unref(invocation);
    return;
  }
  auto& manager = *static_cast<FakeManager*>(self);
  manager.calls_.push_back(method + textOfArguments(arguments));
  if (!manager.holding) return manager.answer(method, arguments, invocation);
  manager.held_.emplace_back([&manager, name = std::string(method), invocation] {
    manager.answer(name, g_dbus_method_invocation_get_parameters(invocation), invocation);
  });
}

void FakeManager::answer(const std::string& method, GVariant* arguments, GDBusMethodInvocation* invocation) {
  if (method == "Perform" && !refusal.empty()) {
    g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.DBus.Error.Failed",
                                               refusal.c_str());
    return;
  }
  if (method == "Perform" || method == "Thumbnails") {
    g_dbus_method_invocation_return_value(invocation, nullptr);
    return;
  }
  std::string text = method == "Status" ? status : method == "AllActions" ? actions : "[]";
  if (method == "FolderStates") text = found(folders, textOfArguments(arguments).substr(1));
  if (method == "ItemStates") text = found(items, textOfArguments(arguments).substr(1));
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(s)", text.c_str()));
}

std::size_t FakeManager::count(const std::string& beginning) const {
  return static_cast<std::size_t>(
      std::ranges::count_if(calls_, [&](const std::string& call) { return call.starts_with(beginning); }));
}

void FakeManager::release() {
  holding = false;
  for (const auto& one : std::exchange(held_, {})) one();
}

void FakeManager::itemsChanged(const std::vector<std::string>& changed) {
  GVariant* paths = pathsArgument(changed);
  g_dbus_connection_emit_signal(bus_.get(), nullptr, object_.c_str(), manager::kInterface.data(),
                                "ItemsChanged", g_variant_new_tuple(&paths, 1), nullptr);
}

FakeNotifications::FakeNotifications()
    : bus_(connect()),
      registration_(serve(*bus_, "/org/freedesktop/Notifications", kNotificationsXml, notified, this)) {
  own(*bus_, "org.freedesktop.Notifications");
}

FakeNotifications::~FakeNotifications() { leave(*bus_, registration_); }

}  // namespace zelto::desktop::test
