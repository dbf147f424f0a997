#include "desktop/core/StateLoader.h"

#include <algorithm>

#include "desktop/core/StatesReader.h"

namespace zelto::desktop {
namespace {

// A folder and its own state are two scopes.
constexpr std::size_t kCachedScopes = 128;
// Microseconds; a pause is so many times as long as the call was, and at least this.
constexpr gint64 kPauseFactor = 4;
constexpr gint64 kShortestPause = 100'000;

bool contains(const std::vector<std::string>& all, const std::string& one) {
  return std::ranges::find(all, one) != all.end();
}

}  // namespace

StateLoader::StateLoader(GDBusConnection& bus, BusTarget manager, Changed changed)
    : bus_(bus),
      manager_(std::move(manager)),
      changed_(std::move(changed)),
      cancellable_(g_cancellable_new()),
      cache_(kCachedScopes) {}

StateLoader::~StateLoader() {
  g_cancellable_cancel(cancellable_.get());
  auto loads = std::move(loads_);
  loads_.clear();
  for (auto& [scope, load] : loads) {
    for (Waiting& waiting : load.waiting) waiting.completion(nullptr);
  }
}

void StateLoader::ask(const Scope& scope, RequestId request, std::string path, StateCompletion completion) {
  begin(scope).waiting.push_back({request, std::move(path), std::move(completion)});
}

void StateLoader::cancel(RequestId request) {
  for (auto& [scope, load] : loads_) {
    std::erase_if(load.waiting, [&](const Waiting& waiting) { return waiting.request == request; });
  }
}

void StateLoader::want(const Scope& scope) {
  if (!cache_.has(scope)) begin(scope);
}

StateLoader::Load& StateLoader::begin(const Scope& scope) {
  const auto found = loads_.find(scope);
  if (found != loads_.end()) {
    // What is on its way will do; after a rest there is need of a call.
    if (found->second.resting) found->second.again = true;
    return found->second;
  }
  Load& load = loads_[scope];
  call(scope);
  return load;
}

void StateLoader::call(const Scope& scope) {
  Load& load = loads_[scope];
  load.resting = load.again = false;
  load.begun = g_get_monotonic_time();
  GVariant* paths = scope.children ? pathArgument(scope.path) : pathsArgument({scope.path});
  if (!scope.children) paths = g_variant_new_tuple(&paths, 1);
  callBus(bus_, manager_, scope.children ? "FolderStates" : "ItemStates", paths, kUsualLimit, *cancellable_,
          [this, scope](BusReply reply) {
            if (!reply) return arrived(scope, std::nullopt);
            readStates(std::move(*reply), *cancellable_,
                       [this, scope](auto states) { arrived(scope, std::move(states)); });
          });
}

// A call that has failed leaves what was known; a folder of which nothing was known counts as empty until
// the manager tells of a change.
void StateLoader::arrived(const Scope& scope, std::optional<std::vector<PathState>> states) {
  const bool first = !cache_.has(scope);
  std::vector<std::string> changed;
  if (states || first) changed = cache_.replace(scope, std::move(states).value_or(std::vector<PathState>{}));
  Load& load = loads_[scope];
  std::vector<Waiting> waiting = std::move(load.waiting);
  load.waiting.clear();
  rest(scope, load);
  for (Waiting& one : waiting) one.completion(cache_.find(scope, one.path));
  if (first || !changed.empty()) changed_(changed);
}

void StateLoader::rest(const Scope& scope, Load& load) {
  const gint64 pause = std::max(kShortestPause, kPauseFactor * (g_get_monotonic_time() - load.begun));
  load.resting = true;
  load.pause.start(static_cast<guint>(pause / 1000), [this, scope] { rested(scope); });
}

void StateLoader::rested(const Scope& scope) {
  if (loads_[scope].again) {
    call(scope);
  } else {
    loads_.erase(scope);
  }
}

void StateLoader::foldersChanged(const std::vector<std::string>& folders) {
  // What is on its way may have been put together before the change.
  for (auto& [scope, load] : loads_) {
    if (contains(folders, scope.path) || (!scope.children && contains(folders, parentOf(scope.path)))) {
      load.again = true;
    }
  }
  for (const Scope& scope : cache_.concerned(folders)) {
    if (cache_.observed(scope)) {
      begin(scope);
    } else {
      cache_.drop(scope);
    }
  }
}

}  // namespace zelto::desktop
