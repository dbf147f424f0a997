#include "desktop/core/DomainWatch.h"

#include "desktop/core/DomainNames.h"

namespace zelto::desktop {
namespace {

// Milliseconds that a manager has for its first answer before items are told without it.
constexpr guint kPatience = 3000;
const BusTarget kDaemon{"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus"};

}  // namespace

class DomainWatch::Listener : public DomainListener {
 public:
  explicit Listener(DomainWatch& watch) : watch_(watch) {}
  void domainAnswered(Domain& domain) override { watch_.answered(domain); }
  void statesChanged(const std::vector<std::string>& paths) override { watch_.events_.statesChanged(paths); }

 private:
  DomainWatch& watch_;
};

DomainWatch::DomainWatch(Events events)
    : events_(std::move(events)),
      cancellable_(g_cancellable_new()),
      listener_(std::make_unique<Listener>(*this)) {
  patience_.start(kPatience, [this] { settle(); });
  g_bus_get(G_BUS_TYPE_SESSION, cancellable_.get(), connected, this);
}

DomainWatch::~DomainWatch() {
  g_cancellable_cancel(cancellable_.get());
  if (subscription_ != 0) g_dbus_connection_signal_unsubscribe(bus_.get(), subscription_);
  settled_ = true;
}

void DomainWatch::connected(GObject*, GAsyncResult* result, gpointer self) {
  GError* error = nullptr;
  ObjectPointer<GDBusConnection> bus(g_bus_get_finish(result, &error));
  if (error != nullptr) {
    // The watch may be gone.
    const bool cancelled = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE;
    g_error_free(error);
    if (!cancelled) static_cast<DomainWatch*>(self)->settle();
    return;
  }
  auto& watch = *static_cast<DomainWatch*>(self);
  watch.bus_ = std::move(bus);
  watch.subscription_ = g_dbus_connection_signal_subscribe(
      watch.bus_.get(), kDaemon.name.c_str(), kDaemon.interface.c_str(), "NameOwnerChanged",
      kDaemon.object.c_str(), nameSpace().c_str(), G_DBUS_SIGNAL_FLAGS_MATCH_ARG0_NAMESPACE, ownerChanged,
      self, nullptr);
  watch.listNames();
}

void DomainWatch::listNames() {
  callBus(*bus_, kDaemon, "ListNames", nullptr, kUsualLimit, *cancellable_, [this](const BusReply& reply) {
    if (reply && g_variant_is_of_type(reply->get(), G_VARIANT_TYPE("(as)"))) {
      GVariantIter* names = nullptr;
      g_variant_get(reply->get(), "(as)", &names);
      for (const char* name = nullptr; g_variant_iter_next(names, "&s", &name);) {
        if (isDomainName(name)) askOwner(name);
      }
      g_variant_iter_free(names);
    }
    stepDone();
  });
}

void DomainWatch::askOwner(const std::string& name) {
  ++steps_;
  callBus(*bus_, kDaemon, "GetNameOwner", g_variant_new("(s)", name.c_str()), kUsualLimit, *cancellable_,
          [this, name](const BusReply& reply) {
            // It may have gone, or have been told of as new, meanwhile.
            if (reply && !domains_.contains(name)) {
              add(name, textOf(*reply));
            } else {
              stepDone();
            }
          });
}

void DomainWatch::ownerChanged(GDBusConnection*, const char*, const char*, const char*, const char*,
                               GVariant* arguments, gpointer self) {
  if (!g_variant_is_of_type(arguments, G_VARIANT_TYPE("(sss)"))) return;
  const char *name = nullptr, *before = nullptr, *now = nullptr;
  g_variant_get(arguments, "(&s&s&s)", &name, &before, &now);
  if (!isDomainName(name)) return;
  auto& watch = *static_cast<DomainWatch*>(self);
  watch.remove(name);
  if (*now == '\0') return;
  ++watch.steps_;
  watch.add(name, now);
}

void DomainWatch::add(const std::string& name, const std::string& owner) {
  domains_.emplace(name, std::make_unique<Domain>(*bus_, name, owner, *listener_));
}

void DomainWatch::remove(const std::string& name) {
  const auto found = domains_.find(name);
  if (found == domains_.end()) return;
  // Out of the table before it answers who still waits: nothing is found in it then.
  const std::unique_ptr<Domain> domain = std::move(found->second);
  domains_.erase(found);
  if (domain->mountPoint().empty() && !domain->answered()) stepDone();
  if (!domain->mountPoint().empty()) events_.disappeared(domain->mountPoint());
}

void DomainWatch::answered(Domain& domain) {
  if (!domain.mountPoint().empty()) events_.appeared(domain);
  stepDone();
}

void DomainWatch::stepDone() {
  if (--steps_ == 0) settle();
}

void DomainWatch::settle() {
  if (settled_) return;
  settled_ = true;
  patience_.stop();
  events_.settled();
}

Domain* DomainWatch::find(const std::string& path) const {
  for (const auto& [name, domain] : domains_) {
    if (domain->has(path)) return domain.get();
  }
  return nullptr;
}

}  // namespace zelto::desktop
