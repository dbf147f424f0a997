#include "desktop/gtk/Views.h"

#include "desktop/gtk/Extension.h"

namespace zelto::desktop {
namespace {

constexpr int kNone = -1;

guint mapSignal() {
  // The signals are there once the class is.
  static gpointer const widgetClass = g_type_class_ref(GTK_TYPE_WIDGET);
  return g_signal_lookup("map", G_TYPE_FROM_CLASS(widgetClass));
}

int fileColumn(GtkTreeModel* model) {
  for (int column = 0; column < gtk_tree_model_get_n_columns(model); ++column) {
    if (g_type_is_a(gtk_tree_model_get_column_type(model, column), THUNARX_TYPE_FILE_INFO)) return column;
  }
  return kNone;
}

void tell(GtkTreeModel* model, GtkTreePath*, GtkTreeIter* row, gpointer provider) {
  FileInfo* file = nullptr;
  gtk_tree_model_get(model, row, fileColumn(model), &file, -1);
  if (file == nullptr) return;
  extensionOf(provider).seen(file);
  g_object_unref(file);
}

gboolean tellEach(GtkTreeModel* model, GtkTreePath* path, GtkTreeIter* row, gpointer provider) {
  tell(model, path, row, provider);
  return FALSE;
}

bool isFollowed(GtkTreeModel* model, gpointer provider) {
  const auto match = GSignalMatchType(G_SIGNAL_MATCH_FUNC | G_SIGNAL_MATCH_DATA);
  return g_signal_handler_find(model, match, 0, 0, nullptr, reinterpret_cast<gpointer>(tell), provider) != 0;
}

// Where a view gets its files, also while it has none of them to show.
void followModel(GObject* view, GParamSpec*, gpointer provider) {
  GtkTreeModel* model = nullptr;
  g_object_get(view, "model", &model, nullptr);
  const ObjectPointer<GtkTreeModel> held(model);
  if (model == nullptr || fileColumn(model) == kNone) return;
  if (isFollowed(model, provider)) return;
  for (const char* const signal : {"row-inserted", "row-changed"}) {
    g_signal_connect_object(model, signal, G_CALLBACK(tell), provider, GConnectFlags(0));
  }
  gtk_tree_model_foreach(model, tellEach, provider);
}

bool hasRows(GtkWidget* widget) {
  const GParamSpec* const model = g_object_class_find_property(G_OBJECT_GET_CLASS(widget), "model");
  return model != nullptr && g_type_is_a(model->value_type, GTK_TYPE_TREE_MODEL) != FALSE;
}

}  // namespace

Views::Views(GObject* provider)
    : provider_(provider), hook_(g_signal_add_emission_hook(mapSignal(), 0, mapped, this, nullptr)) {}

Views::~Views() {
  g_signal_remove_emission_hook(mapSignal(), hook_);
  for (GtkWidget* const view : views_) g_signal_handlers_disconnect_by_data(view, this);
}

// Called for every widget that comes on show.
gboolean Views::mapped(GSignalInvocationHint*, guint, const GValue* values, gpointer self) {
  auto& views = *static_cast<Views*>(self);
  auto* const widget = static_cast<GtkWidget*>(g_value_get_object(values));
  if (!hasRows(widget) || !views.views_.insert(widget).second) return TRUE;
  g_signal_connect(widget, "destroy", G_CALLBACK(destroyed), self);
  g_signal_connect_object(widget, "notify::model", G_CALLBACK(followModel), views.provider_,
                          GConnectFlags(0));
  followModel(G_OBJECT(widget), nullptr, views.provider_);
  return TRUE;
}

void Views::destroyed(GtkWidget* view, gpointer self) { static_cast<Views*>(self)->views_.erase(view); }

void Views::redraw() {
  for (GtkWidget* const view : views_) gtk_widget_queue_draw(view);
}

}  // namespace zelto::desktop
