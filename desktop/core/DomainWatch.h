#pragma once

#include <functional>
#include <map>
#include <memory>

#include "desktop/core/Domain.h"

namespace zelto::desktop {

// Follows which managers there are on the session bus.
// THREAD: the main context's. BLOCKS: never.
class DomainWatch {
 public:
  // Called when the one or the other below has changed.
  struct Events {
    std::function<void(Domain&)> appeared;
    std::function<void(const std::string& mountPoint)> disappeared;
    std::function<void(const std::vector<std::string>&)> statesChanged;
    std::function<void()> settled;
  };

  explicit DomainWatch(Events events);
  ~DomainWatch();
  DomainWatch(const DomainWatch&) = delete;
  DomainWatch& operator=(const DomainWatch&) = delete;

  // True once those that were there at the start have answered, or have had their time for it, and when
  // there is no bus.
  bool settled() const { return settled_; }
  // The bus; null until it is known.
  GDBusConnection* bus() const { return bus_.get(); }
  // The domain that has the path; null for none.
  Domain* find(const std::string& path) const;
  const auto& domains() const { return domains_; }

 private:
  class Listener;

  static void connected(GObject*, GAsyncResult* result, gpointer self);
  static void ownerChanged(GDBusConnection*, const char*, const char*, const char*, const char*,
                           GVariant* arguments, gpointer self);
  void listNames();
  void askOwner(const std::string& name);
  void add(const std::string& name, const std::string& owner);
  void remove(const std::string& name);
  void answered(Domain& domain);
  void stepDone();
  void settle();

  Events events_;
  ObjectPointer<GCancellable> cancellable_;
  std::unique_ptr<Listener> listener_;
  ObjectPointer<GDBusConnection> bus_;
  guint subscription_ = 0;
  std::map<std::string, std::unique_ptr<Domain>> domains_;
  int steps_ = 1;  // that are to be done before it is settled
  bool settled_ = false;
  Timer patience_;
};

}  // namespace zelto::desktop
