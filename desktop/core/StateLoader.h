#pragma once

#include <functional>
#include <memory>

#include "desktop/core/BusCall.h"
#include "desktop/core/StateCache.h"
#include "desktop/core/Timer.h"

namespace zelto::desktop {

// A request for an item's state; never 0.
using RequestId = std::uint64_t;
// The state, valid during the call; null where there is none.
using StateCompletion = std::move_only_function<void(const ItemState*)>;

// Fills the cache from one manager: one call per folder, and again when it tells of changes there, so often
// that a fifth of the time at most goes into it.
// THREAD: the main context's. BLOCKS: never.
class StateLoader {
 public:
  // Paths of which something else is known now; none when what came was not known at all before.
  using Changed = std::function<void(const std::vector<std::string>&)>;

  StateLoader(GDBusConnection& bus, BusTarget manager, Changed changed);
  // Whoever still waits is answered with null.
  ~StateLoader();
  StateLoader(const StateLoader&) = delete;
  StateLoader& operator=(const StateLoader&) = delete;

  StateCache& cache() { return cache_; }
  // COMPLETES: once, after this has returned, unless it is cancelled before.
  void ask(const Scope& scope, RequestId request, std::string path, StateCompletion completion);
  void cancel(RequestId request);
  // Has a scope loaded that is neither here nor on its way.
  void want(const Scope& scope);
  // The manager has told of changes.
  void foldersChanged(const std::vector<std::string>& folders);

 private:
  struct Waiting {
    RequestId request;
    std::string path;
    StateCompletion completion;
  };
  // Is there from the call on until the pause after it.
  struct Load {
    bool resting = false;
    bool again = false;  // something has changed since the call
    gint64 begun = 0;
    Timer pause;
    std::vector<Waiting> waiting;
  };

  Load& begin(const Scope& scope);
  void call(const Scope& scope);
  void arrived(const Scope& scope, std::optional<std::vector<PathState>> states);
  void rest(const Scope& scope, Load& load);
  void rested(const Scope& scope);

  GDBusConnection& bus_;
  BusTarget manager_;
  Changed changed_;
  ObjectPointer<GCancellable> cancellable_;
  StateCache cache_;
  std::map<Scope, Load> loads_;
};

}  // namespace zelto::desktop
