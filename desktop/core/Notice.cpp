#include "desktop/core/Notice.h"

namespace zelto::desktop {
namespace {

constexpr int kLimit = 10'000;  // milliseconds

void shown(GObject* bus, GAsyncResult* result, gpointer data) {
  const TextPointer line(static_cast<char*>(data));
  GError* error = nullptr;
  const VariantPointer reply(g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, &error));
  if (error == nullptr) return;
  g_printerr("%s\n", line.get());
  g_error_free(error);
}

}  // namespace

void showNotice(GDBusConnection& bus, const std::string& title, const std::string& text) {
  // The text may be taken for markup.
  const TextPointer body(g_markup_escape_text(text.c_str(), -1));
  GVariantBuilder buttons, hints;
  g_variant_builder_init(&buttons, G_VARIANT_TYPE("as"));
  g_variant_builder_init(&hints, G_VARIANT_TYPE("a{sv}"));
  GVariant* const arguments = g_variant_new("(susssasa{sv}i)", "Zelto", 0U, "dialog-error", title.c_str(),
                                            body.get(), &buttons, &hints, -1);
  g_dbus_connection_call(&bus, "org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                         "org.freedesktop.Notifications", "Notify", arguments, nullptr,
                         G_DBUS_CALL_FLAGS_NONE, kLimit, nullptr, shown,
                         g_strdup_printf("Zelto: %s: %s", title.c_str(), text.c_str()));
}

}  // namespace zelto::desktop
