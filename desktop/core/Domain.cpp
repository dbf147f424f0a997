#include "desktop/core/Domain.h"

#include "desktop/core/Answers.h"
#include "desktop/core/DomainNames.h"
#include "platform/bus/ManagerInterface.h"

namespace zelto::desktop {
namespace {

BusTarget targetOf(const std::string& busName, const std::string& owner) {
  return {owner, manager::objectPath(domainOfName(busName)), std::string(manager::kInterface)};
}

}  // namespace

Domain::Domain(GDBusConnection& bus, const std::string& busName, const std::string& owner,
               DomainListener& listener)
    : bus_(bus),
      manager_(targetOf(busName, owner)),
      listener_(listener),
      cancellable_(g_cancellable_new()),
      states_(bus, manager_, [this](const auto& paths) { listener_.statesChanged(paths); }),
      thumbnails_(bus, manager_) {
  subscription_ = g_dbus_connection_signal_subscribe(&bus_, owner.c_str(), manager_.interface.c_str(),
                                                     "ItemsChanged", manager_.object.c_str(), nullptr,
                                                     G_DBUS_SIGNAL_FLAGS_NONE, changed, this, nullptr);
  askFor("Status", [this](const std::string& text) { statusMountPoint_ = mountPointOf(text).value_or(""); });
  askFor("AllActions",
         [this](const std::string& text) { actions_ = actionsOf(text).value_or(std::vector<Action>()); });
  askFor("Decorations",
         [this](const std::string& text) { badges_ = badgesOf(text).value_or(std::vector<Badge>()); });
}

Domain::~Domain() {
  g_cancellable_cancel(cancellable_.get());
  g_dbus_connection_signal_unsubscribe(&bus_, subscription_);
}

// A manager that has just started may take its time to answer: there is no limit.
void Domain::askFor(const char* method, std::move_only_function<void(const std::string&)> take) {
  callBus(bus_, manager_, method, nullptr, kNoLimit, *cancellable_,
          [this, take = std::move(take)](BusReply reply) mutable {
            if (reply) take(textOf(*reply));
            if (--unanswered_ > 0) return;
            mountPoint_ = statusMountPoint_;
            listener_.domainAnswered(*this);
          });
}

void Domain::changed(GDBusConnection*, const char*, const char*, const char*, const char*,
                     GVariant* arguments, gpointer self) {
  if (!g_variant_is_of_type(arguments, G_VARIANT_TYPE("(aay)"))) return;
  const VariantPointer folders(g_variant_get_child_value(arguments, 0));
  static_cast<Domain*>(self)->states_.foldersChanged(pathsOf(folders.get()));
}

Scope Domain::scopeOf(const std::string& path) const {
  if (path == mountPoint_) return {path, false};
  return {parentOf(path), true};
}

void Domain::observe(const std::string& path) {
  const Scope scope = scopeOf(path);
  states_.cache().observe(scope);
  if (!scope.children) return;
  // For the menu on the folder's background.
  if (states_.cache().find(scope.path) == nullptr) states_.want({scope.path, false});
  thumbnails_.want(path);
}

void Domain::unobserve(const std::string& path) {
  states_.cache().unobserve(scopeOf(path));
  thumbnails_.forget(path);
}

}  // namespace zelto::desktop
