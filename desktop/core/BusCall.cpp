#include "desktop/core/BusCall.h"

namespace zelto::desktop {
namespace {

struct Call {
  ObjectPointer<GCancellable> cancellable;
  BusCompletion completion;
};

std::string messageOf(GError* error) {
  g_dbus_error_strip_remote_error(error);
  std::string message = error->message;
  g_error_free(error);
  return message;
}

void finished(GObject* source, GAsyncResult* result, gpointer data) {
  const std::unique_ptr<Call> call(static_cast<Call*>(data));
  GError* error = nullptr;
  VariantPointer value(g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error));
  const bool given = g_cancellable_is_cancelled(call->cancellable.get()) == FALSE;
  if (value) {
    if (given) call->completion(std::move(value));
    return;
  }
  std::string message = messageOf(error);
  if (given) call->completion(std::unexpected(std::move(message)));
}

GVariant* bytes(const std::string& text) {
  return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, text.data(), text.size(), 1);
}

}  // namespace

void callBus(GDBusConnection& bus, const BusTarget& target, const char* method, GVariant* arguments,
             int limit, GCancellable& cancellable, BusCompletion completion) {
  auto call = std::make_unique<Call>(shared(&cancellable), std::move(completion));
  g_dbus_connection_call(&bus, target.name.c_str(), target.object.c_str(), target.interface.c_str(), method,
                         arguments, nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, limit, &cancellable, finished,
                         call.release());
}

std::string textOf(const VariantPointer& reply) {
  if (!g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(s)"))) return {};
  const char* text = nullptr;
  g_variant_get(reply.get(), "(&s)", &text);
  return text;
}

GVariant* pathArgument(const std::string& path) {
  GVariant* value = bytes(path);
  return g_variant_new_tuple(&value, 1);
}

GVariant* pathsArgument(const std::vector<std::string>& paths) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("aay"));
  for (const std::string& path : paths) g_variant_builder_add_value(&builder, bytes(path));
  return g_variant_builder_end(&builder);
}

std::vector<std::string> pathsOf(GVariant* paths) {
  std::vector<std::string> all;
  if (!g_variant_is_of_type(paths, G_VARIANT_TYPE("aay"))) return all;
  for (gsize i = 0; i < g_variant_n_children(paths); ++i) {
    const VariantPointer child(g_variant_get_child_value(paths, i));
    gsize size = 0;
    const void* const data = g_variant_get_fixed_array(child.get(), &size, 1);
    all.emplace_back(static_cast<const char*>(data), size);
  }
  return all;
}

}  // namespace zelto::desktop
