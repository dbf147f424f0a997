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

// One host's parts over a folder of shares. Restarting keeps folder and store.
class TestHost {
 public:
  explicit TestHost(const ServerFolder& shares, std::string name = "host")
      : shares_(shares), name_(std::move(name)) {}
  ~TestHost() { stop(); }
  TestHost(const TestHost&) = delete;
  TestHost& operator=(const TestHost&) = delete;

  void start(HostMode mode = {true, true}) {
    auto backend = LocalFolderBackend::serving(shares_.root());
    auto store = HostStore::open(shares_.own(name_ + ".db"));
    ASSERT_TRUE(backend && store);
    std::shared_ptr<ServerBackend> served = *backend;
    if (changesWhileRead > 0) served = std::make_shared<RestlessBackend>(served, changesWhileRead);
    if (wrap) served = wrap(served);
    if (!(*store)->mode()) (*store)->setMode(mode);
    HostParts::Given given{served,
                           *store,
                           std::make_shared<LogFile>(shares_.own(name_ + ".log")),
                           plainNames(),
                           shares_.group() + "/" + name_,
                           [this] { ++signals; }};
    if (adjust) adjust(given);
    parts = HostParts::make(std::move(given));
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
  // The item's dictionary at its new place.
  NSDictionary move(const std::string& from, const std::string& to) {
    auto [reply, future] = awaited<std::optional<NSDictionary>, std::optional<NSError>>();
    service->moveItemWithPath(from, to, std::move(reply));
    auto [dictionary, error] = future.get();
    EXPECT_FALSE(error) << error->localizedDescription();
    return dictionary.value_or(NSDictionary());
  }
  void remove(const std::string& identifier) {
    auto [reply, future] = awaited<std::optional<NSError>>();
    service->deleteItemWithPath(identifier, std::move(reply));
    const auto error = std::get<0>(future.get());
    EXPECT_FALSE(error) << error->localizedDescription();
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

  std::shared_ptr<HostParts> parts;
  std::shared_ptr<HostService> service;
  std::uint64_t connection = 0;
  int changesWhileRead = 0;  // how often files change under their reader
  // What stands between the host and its server.
  std::function<std::shared_ptr<ServerBackend>(std::shared_ptr<ServerBackend>)> wrap;
  // What it is given beside the server.
  std::function<void(HostParts::Given&)> adjust;
  std::atomic<int> signals = 0;

 private:
  const ServerFolder& shares_;
  const std::string name_;
};

struct WithServerFolder {
  ServerFolder server;
};
class HostFixture : public ::testing::Test, protected WithServerFolder, protected TestHost {
 protected:
  HostFixture() : TestHost(WithServerFolder::server) {}
  void TearDown() override { stop(); }
};

}  // namespace zelto::test
