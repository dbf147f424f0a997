#pragma once

#include "desktop/core/StateLoader.h"
#include "desktop/core/ThumbnailQueue.h"

namespace zelto::desktop {

class Domain;

// What a domain tells. THREAD: the main context's, never during a call to the domain.
class DomainListener {
 public:
  virtual ~DomainListener() = default;
  // The manager has said where its files are, or will not (`mountPoint` is empty then).
  virtual void domainAnswered(Domain& domain) = 0;
  // As StateLoader::Changed.
  virtual void statesChanged(const std::vector<std::string>& paths) = 0;
};

// One manager on the bus, for as long as one process owns its name.
class Domain {
 public:
  // `owner` is the unique name of the process.
  Domain(GDBusConnection& bus, const std::string& busName, const std::string& owner,
         DomainListener& listener);
  ~Domain();
  Domain(const Domain&) = delete;
  Domain& operator=(const Domain&) = delete;

  // Empty until the manager has answered, and for what is no manager.
  const std::string& mountPoint() const { return mountPoint_; }
  bool has(const std::string& path) const { return !mountPoint_.empty() && isWithin(path, mountPoint_); }
  bool answered() const { return unanswered_ == 0; }
  const std::vector<Action>& actions() const { return actions_; }
  const std::vector<Badge>& badges() const { return badges_; }
  const BusTarget& manager() const { return manager_; }

  StateLoader& states() { return states_; }
  // What is to be loaded to know the item. The mount point's own folder is none of the domain's.
  Scope scopeOf(const std::string& path) const;
  void observe(const std::string& path);
  void unobserve(const std::string& path);

 private:
  void askFor(const char* method, std::move_only_function<void(const std::string&)> take);
  static void changed(GDBusConnection*, const char*, const char*, const char*, const char*,
                      GVariant* arguments, gpointer self);

  GDBusConnection& bus_;
  BusTarget manager_;
  DomainListener& listener_;
  ObjectPointer<GCancellable> cancellable_;
  guint subscription_ = 0;
  int unanswered_ = 3;
  std::string mountPoint_;
  std::string statusMountPoint_;
  std::vector<Action> actions_;
  std::vector<Badge> badges_;
  StateLoader states_;
  ThumbnailQueue thumbnails_;
};

}  // namespace zelto::desktop
