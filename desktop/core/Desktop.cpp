#include "desktop/core/Desktop.h"

#include <utility>

#include "desktop/core/Notice.h"
#include "desktop/core/OfferedActions.h"

namespace zelto::desktop {

Desktop::Desktop(DesktopListener& listener)
    : listener_(listener),
      cancellable_(g_cancellable_new()),
      watch_({[this](Domain& domain) { appeared(domain); },
              [this](const std::string& mountPoint) { listener_.treeChanged(mountPoint); },
              [this](const auto& paths) { listener_.statesChanged(paths); }, [this] { settled(); }}) {}

Desktop::~Desktop() {
  g_cancellable_cancel(cancellable_.get());
  for (auto& [request, waiting] : std::exchange(early_, {})) waiting.completion(nullptr);
}

std::optional<const ItemState*> Desktop::known(const std::string& path) {
  Domain* const domain = watch_.find(path);
  if (domain == nullptr) {
    if (!watch_.settled()) return std::nullopt;
    return nullptr;
  }
  const ItemState* const state = domain->states().cache().find(domain->scopeOf(path), path);
  if (state == nullptr) return std::nullopt;
  return state;
}

RequestId Desktop::ask(const std::string& path, StateCompletion completion) {
  const RequestId request = ++lastRequest_;
  if (watch_.settled()) {
    pass(request, path, std::move(completion));
  } else {
    early_.emplace(request, Waiting{path, std::move(completion)});
  }
  return request;
}

void Desktop::pass(RequestId request, const std::string& path, StateCompletion completion) {
  Domain* const domain = watch_.find(path);
  if (domain == nullptr) {
    completion(nullptr);
  } else {
    const Scope scope = domain->scopeOf(path);
    domain->states().ask(scope, request, path, std::move(completion));
    // The menu on the folder's background wants it, and cannot wait.
    if (scope.children && domain->has(scope.path)) domain->states().want({scope.path, false});
  }
}

void Desktop::cancel(RequestId request) {
  early_.erase(request);
  for (const auto& [name, domain] : watch_.domains()) domain->states().cancel(request);
}

void Desktop::settled() {
  for (auto& [request, waiting] : std::exchange(early_, {})) {
    pass(request, waiting.path, std::move(waiting.completion));
  }
}

void Desktop::appeared(Domain& domain) {
  for (const auto& [path, count] : observed_) {
    if (!domain.has(path)) continue;
    for (std::size_t i = 0; i < count; ++i) domain.observe(path);
  }
  listener_.treeChanged(domain.mountPoint());
}

void Desktop::observe(const std::string& path) {
  ++observed_[path];
  if (Domain* const domain = watch_.find(path)) domain->observe(path);
}

void Desktop::unobserve(const std::string& path) {
  const auto found = observed_.find(path);
  if (found == observed_.end()) return;
  if (--found->second == 0) observed_.erase(found);
  if (Domain* const domain = watch_.find(path)) domain->unobserve(path);
}

std::optional<std::vector<Action>> Desktop::offered(const std::vector<std::string>& paths) {
  Domain* const domain = paths.empty() ? nullptr : watch_.find(paths.front());
  if (domain == nullptr) return std::vector<Action>();
  std::vector<const ItemState*> states;
  for (const std::string& path : paths) {
    // One action goes to one manager.
    if (!domain->has(path)) return std::vector<Action>();
    states.push_back(domain->states().cache().find(path));
    if (states.back() == nullptr) {
      domain->states().want({path, false});
      return std::nullopt;
    }
  }
  return offeredToEach(domain->actions(), states);
}

void Desktop::perform(const Action& action, const std::vector<std::string>& paths) {
  Domain* const domain = paths.empty() ? nullptr : watch_.find(paths.front());
  if (domain == nullptr) {
    if (watch_.bus() != nullptr) showNotice(*watch_.bus(), action.title, "Zelto is not running.");
    return;
  }
  GVariant* const arguments = g_variant_new("(s@aay)", action.identifier.c_str(), pathsArgument(paths));
  // The manager may need its time, and may go before it is done; whoever chose the action is to know that.
  callBus(*watch_.bus(), domain->manager(), "Perform", arguments, kNoLimit, *cancellable_,
          [bus = shared(watch_.bus()), title = action.title](const BusReply& reply) {
            if (!reply) showNotice(*bus, title, reply.error());
          });
}

std::vector<InfoRow> Desktop::rows(const std::string& path, bool isFolder) {
  Domain* const domain = watch_.find(path);
  const ItemState* const state = domain != nullptr ? domain->states().cache().find(path) : nullptr;
  if (state == nullptr) return {};
  return rowsOf(*state, domain->badges(), isFolder);
}

}  // namespace zelto::desktop
