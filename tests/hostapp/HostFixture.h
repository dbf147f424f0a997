#pragma once

#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "hostapp/HostParts.h"
#include "hostapp/HostService.h"
#include "hostapp/LocalFolderBackend.h"
#include "tests/hostapp/RestlessBackend.h"
#include "tests/hostapp/ServerFolder.h"

namespace zelto::test {

inline ContainerNames plainNames() { return {"My Files", "Bookmarks", "Offline Files"}; }

// False when it does not come true within half a minute.
template <typename Condition>
bool eventually(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

// A completion, and the future of what it is called with.
template <typename... Arguments>
std::pair<Completion<Arguments...>, std::future<std::tuple<Arguments...>>> awaited() {
  auto promise = std::make_shared<std::promise<std::tuple<Arguments...>>>();
  auto future = promise->get_future();
  return {[promise](Arguments... arguments) { promise->set_value({std::move(arguments)...}); },
          std::move(future)};
}

struct Changes {
  DictionaryList updates;
  std::vector<std::string> deletions;
  bool empty() const { return updates.empty() && deletions.empty(); }
  bool hasUpdate(std::string_view identifier) const { return update(identifier) != nullptr; }
  const NSDictionary* update(std::string_view identifier) const {
    for (const auto& dictionary : updates) {
      const auto* value = dictionary.find("itemIdentifier");
      if (value != nullptr && *value->asString() == identifier) return &dictionary;
    }
    return nullptr;
  }
  bool hasDeletion(std::string_view identifier) const {
    return std::find(deletions.begin(), deletions.end(), identifier) != deletions.end();
  }
};

inline std::string textOf(const NSDictionary& dictionary, const char* key) {
  const auto* value = dictionary.find(key);
  return value != nullptr && value->asString() != nullptr ? *value->asString() : "(absent)";
}
inline bool isTrue(const NSDictionary& dictionary, const char* key) {
  const auto* value = dictionary.find(key);
  return value != nullptr && value->asBoolean() != nullptr && *value->asBoolean();
}
inline const NSDictionary* named(const DictionaryList& list, std::string_view name) {
  for (const auto& dictionary : list) {
    if (textOf(dictionary, "name") == name) return &dictionary;
  }
  return nullptr;
}

// The host's parts over a folder of shares. Restarting keeps folder and store.
class HostFixture : public ::testing::Test {
 protected:
  void TearDown() override { stop(); }

  void start(HostMode mode = {true, true}) {
    auto backend = LocalFolderBackend::serving(server.root());
    auto store = HostStore::open(server.own("host.db"));
    ASSERT_TRUE(backend && store);
    std::shared_ptr<ServerBackend> served = *backend;
    if (changesWhileRead > 0) served = std::make_shared<RestlessBackend>(served, changesWhileRead);
    if (wrap) served = wrap(served);
    if (!(*store)->mode()) (*store)->setMode(mode);
    parts = HostParts::make({served, *store, std::make_shared<LogFile>(server.own("host.log")), plainNames(),
                             server.group() + "/host", [this] { ++signals; }});
    parts->watcher->start();
    service = std::make_shared<HostService>(parts, ++connection);
    ASSERT_TRUE(eventually([this] { return parts->watcher->counts().folders > 0; }));
  }
  void stop() {
    if (parts) parts->stop();
    service.reset();
    parts.reset();
  }
  void restart() {
    stop();
    start();
  }
  void reconnect() { service = std::make_shared<HostService>(parts, ++connection); }

  DictionaryList list(const std::string& identifier) {
    auto [reply, future] = awaited<DictionaryList>();
    service->metadataForDirectory(identifier, false, std::move(reply));
    auto items = std::get<0>(future.get());
    // The folder is known, and so watched, once the watcher has taken the listing in.
    const auto resolved = parts->resolver->resolve(identifier);
    if (resolved) awaitWatcher();
    return items;
  }
  // Until the watcher has dealt with all that was posted to it before.
  void awaitWatcher() {
    const auto before = parts->watcher->counts().scans;
    parts->watcher->rescan("");
    ASSERT_TRUE(eventually([this, before] { return parts->watcher->counts().scans > before; }));
  }
  Changes take() {
    auto [reply, future] = awaited<DictionaryList, std::vector<std::string>>();
    service->retrieveChangesWithCompletion(std::move(reply));
    auto [updates, deletions] = future.get();
    return {std::move(updates), std::move(deletions)};
  }
  // Takes changes until the condition holds for one batch; that batch.
  template <typename Condition>
  Changes takeUntil(Condition condition) {
    Changes changes;
    const bool came = eventually([this, &changes, &condition] {
      changes = take();
      return condition(changes);
    });
    EXPECT_TRUE(came) << "the changes did not come";
    return changes;
  }
  Changes awaitUpdate(const std::string& identifier) {
    return takeUntil([&identifier](const Changes& changes) { return changes.hasUpdate(identifier); });
  }
  Changes awaitDeletion(const std::string& identifier) {
    return takeUntil([&identifier](const Changes& changes) { return changes.hasDeletion(identifier); });
  }

  ServerFolder server;
  std::shared_ptr<HostParts> parts;
  std::shared_ptr<HostService> service;
  std::uint64_t connection = 0;
  int changesWhileRead = 0;  // how often files change under their reader
  // What stands between the host and its server.
  std::function<std::shared_ptr<ServerBackend>(std::shared_ptr<ServerBackend>)> wrap;
  std::atomic<int> signals = 0;
};

}  // namespace zelto::test
