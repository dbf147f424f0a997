#pragma once

#include <chrono>
#include <expected>
#include <memory>
#include <string>

#include "framework/changes/ChangePump.h"
#include "framework/domain/GroupDirectory.h"
#include "framework/domain/MemoryTrim.h"
#include "framework/fetching/Materialiser.h"
#include "framework/listing/Lister.h"
#include "framework/manager/Manager.h"
#include "framework/propagation/Propagator.h"
#include "framework/replica/Replica.h"
#include "framework/requests/Deadlines.h"
#include "framework/requests/HostLink.h"
#include "framework/thumbnails/ThumbnailQueue.h"
#include "framework/volume/Volume.h"

namespace zelto {

// Everything that serves one domain, and how the pieces hear of each other: changes of the replica go to
// the kernel, the host's coming and going to whoever waits for it.
// OWNER: the process, to its end; the extension may answer late at any time.
class Domain {
 public:
  struct Settings {
    NSFileProviderDomain domain;
    std::string mountPoint;
    std::string documentGroup = {};  // shared with the host; "": none
    std::chrono::milliseconds requestLimit{10'000};
  };

  // Makes the extension's instance, opens the replica, mounts, and takes the bus name.
  // ERRORS: whatever fails of these, with what to do.
  static std::expected<std::unique_ptr<Domain>, NSError> start(const Settings& settings,
                                                               const std::string& principalClass);

  // BLOCKS: serves until the volume is unmounted or `stop` is called. Gives 0 or an errno value.
  int run();
  void stop() { volume_->stop(); }
  // Unmounts and writes everything learnt to the replica.
  void close();

 private:
  explicit Domain(const Settings& settings);

  std::optional<NSError> open(const std::string& principalClass);
  std::optional<NSError> openReplica();
  void joinGroup();
  void replicaChanged(const ReplicaDelta& delta);
  void hostChanged(bool present);
  void refreshRoot();
  void makePropagator();
  void makeThumbnails();
  // Where contents are put for the extension to take.
  std::string exportDirectory() const;

  const Settings settings_;
  Deadlines deadlines_;
  HostLink link_;
  MemoryTrim trim_;
  std::optional<GroupDirectory> group_;
  std::shared_ptr<NSFileProviderPrincipal> extension_;
  std::unique_ptr<ActionCatalogue> catalogue_;
  std::unique_ptr<Replica> replica_;
  std::unique_ptr<Lister> lister_;
  std::unique_ptr<Materialiser> materialiser_;
  std::unique_ptr<ChangePump> pump_;
  std::shared_ptr<Propagator> propagator_;
  std::unique_ptr<Volume> volume_;
  std::shared_ptr<ThumbnailQueue> thumbnails_;
  std::unique_ptr<Manager> manager_;
};

}  // namespace zelto
