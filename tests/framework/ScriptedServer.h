#pragma once

#include <bit>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/framework/PlainExtension.h"
#include "tests/replica/FakeItem.h"

namespace zelto::test {

// A server behind an extension that does what the real one does with each request, at once: one group of
// fields for each modification, contents moved away, folders deleted with all they hold. A test can have the
// next request of a kind for a path answered otherwise.
// THREAD: any.
class ScriptedServer final : public PlainExtension {
 public:
  using Fields = NSFileProviderItemFields;

  enum class Fate {
    carryOut,
    fail,        // with the error, doing nothing
    loseReply,   // done, but the answer is lost: the handler is dropped
    keepSilent,  // not done, and never answered
    hold,        // done and answered when `release` is called
    holdAnswer,  // done, and answered when `release` is called; a listing at once
  };

  explicit ScriptedServer(std::filesystem::path directory) : directory_(std::move(directory)) {}

  // ---- for the test
  void put(const std::string& path, const std::string& content) {
    const std::lock_guard lock(mutex_);
    entries_[path] = {false, content, nextDate()};
  }
  void putFolder(const std::string& path) {
    const std::lock_guard lock(mutex_);
    entries_[path] = {true, {}, nextDate()};
  }
  void erase(const std::string& path) {
    const std::lock_guard lock(mutex_);
    eraseTree(path);
  }
  // Takes a tree away, to be put back as it was.
  auto takeTree(const std::string& top) {
    const std::lock_guard lock(mutex_);
    auto taken = entries_;
    std::erase_if(taken,
                  [&](const auto& each) { return each.first != top && !each.first.starts_with(top + "/"); });
    eraseTree(top);
    return taken;
  }
  void putTree(const auto& taken) {
    const std::lock_guard lock(mutex_);
    entries_.insert(taken.begin(), taken.end());
  }
  // The next request "create", "upload", "move", "metadata", "delete", "look", "fetch", "find" or "list".
  void next(const std::string& operation, const std::string& path, Fate fate,
            const std::optional<NSError>& error = std::nullopt) {
    const std::lock_guard lock(mutex_);
    fates_[operation + " " + path].emplace_back(fate, error);
  }
  // What is put or created gets later dates from here on, each other ones; in seconds since 1970.
  void setClock(double now) {
    const std::lock_guard lock(mutex_);
    date_ = now;
  }
  // Asked for the fate of each request that has none, for "upload /share/a" and the like. REQUIRES: before
  // the first request; does not call the server.
  void setDecision(std::function<Fate(const std::string& request)> decide) { decide_ = std::move(decide); }
  // What is held will never be answered.
  void forgetHeld() {
    std::vector<std::function<void()>> held;
    const std::lock_guard lock(mutex_);
    held.swap(held_);
  }
  // Answers what was held, in the order of its coming.
  void release() {
    std::vector<std::function<void()>> held;
    {
      const std::lock_guard lock(mutex_);
      held.swap(held_);
    }
    for (const auto& request : held) request();
  }
  // Waits until so many requests are held.
  bool waitForHeld(std::size_t count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return held_.size() >= count; });
  }
  // Waits until a request was made so often in all.
  bool waitFor(const std::string& request, std::ptrdiff_t times = 1) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(20),
                             [&] { return std::ranges::count(log_, request) >= times; });
  }
  std::size_t held() {
    const std::lock_guard lock(mutex_);
    return held_.size();
  }
  // "create /share/a" and so on, those that change something alone.
  std::vector<std::string> changes() {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> changes;
    for (const auto& line : log_) {
      const auto operation = line.substr(0, line.find(' '));
      if (operation != "look" && operation != "list" && operation != "find" && operation != "fetch")
        changes.push_back(line);
    }
    return changes;
  }
  std::ptrdiff_t count(const std::string& request) {
    const std::lock_guard lock(mutex_);
    return std::ranges::count(log_, request);
  }
  // The whole tree: paths with contents, "/" for a folder.
  std::map<std::string, std::string> tree() {
    const std::lock_guard lock(mutex_);
    std::map<std::string, std::string> tree;
    for (const auto& [path, entry] : entries_) tree[path] = entry.folder ? "/" : entry.content;
    return tree;
  }
  std::shared_ptr<NSProgress> lastProgress() {
    const std::lock_guard lock(mutex_);
    return progress_;
  }
  NSFileProviderItemPtr item(const std::string& path) {
    const std::lock_guard lock(mutex_);
    return itemOf(path);
  }
  std::vector<NSFileProviderItemPtr> children(const std::string& folder) {
    const std::lock_guard lock(mutex_);
    std::vector<NSFileProviderItemPtr> items;
    const std::string prefix = (folder == NSFileProviderRootContainerItemIdentifier ? "" : folder) + "/";
    for (const auto& [path, entry] : entries_) {
      const bool below = path.starts_with(prefix) && path.find('/', prefix.size()) == std::string::npos;
      if (below) items.push_back(itemOf(path));
    }
    return items;
  }

  // ---- the extension
  void invalidate() override {}
  std::shared_ptr<NSProgress> supportedServiceSourcesForItemIdentifier(
      const std::string&,
      Completion<std::vector<std::shared_ptr<NSFileProviderServiceSource>>, std::optional<NSError>>)
      override {
    return NSProgress::create();
  }
  std::shared_ptr<NSFileProviderEnumerator> enumeratorForContainerItemIdentifier(
      const std::string& identifier, const NSFileProviderRequest&, std::optional<NSError>*) override {
    return std::make_shared<Enumerator>(*this, identifier);
  }
  std::shared_ptr<NSProgress> itemForIdentifier(
      const std::string& identifier, const NSFileProviderRequest&,
      Completion<NSFileProviderItemPtr, std::optional<NSError>> handler) override {
    return carryOut("find", identifier, std::move(handler),
                    [this, identifier](auto& reply, std::optional<NSError> error) {
                      auto found = error ? nullptr : item(identifier);
                      reply(found, error || found ? error : gone(identifier));
                    });
  }
  std::shared_ptr<NSProgress> fetchContentsForItemWithIdentifier(
      const std::string& identifier, const std::optional<NSFileProviderItemVersion>&,
      const NSFileProviderRequest&,
      Completion<std::optional<NSURL>, NSFileProviderItemPtr, std::optional<NSError>> handler) override {
    return carryOut("fetch", identifier, std::move(handler),
                    [this, identifier](auto& reply, std::optional<NSError> error) {
                      auto found = error ? nullptr : item(identifier);
                      if (!found) return reply(std::nullopt, nullptr, error ? error : gone(identifier));
                      reply(deliver(tree().at(identifier)), found, std::nullopt);
                    });
  }
  std::shared_ptr<NSProgress> fetchPartialContentsForItemWithIdentifier(
      const std::string& identifier, const NSFileProviderItemVersion&, const NSFileProviderRequest&,
      NSRange range, std::uint64_t, NSFileProviderFetchContentsOptions,
      Completion<std::optional<NSURL>, NSFileProviderItemPtr, NSRange, NSFileProviderMaterializationFlags,
                 std::optional<NSError>>
          handler) override {
    return carryOut("look", identifier, std::move(handler),
                    [this, identifier, range](auto& reply, std::optional<NSError> error) {
                      constexpr auto kFlags = NSFileProviderMaterializationFlags::none;
                      auto found = error ? nullptr : item(identifier);
                      if (!found)
                        return reply(std::nullopt, nullptr, range, kFlags, error ? error : gone(identifier));
                      const auto bytes = tree().at(identifier).substr(0, range.length);
                      reply(deliver(bytes), found, {0, bytes.size()}, kFlags, std::nullopt);
                    });
  }
  std::shared_ptr<NSProgress> createItemBasedOnTemplate(const NSFileProviderItemPtr& itemTemplate,
                                                        Fields fields, const std::optional<NSURL>& contents,
                                                        NSFileProviderCreateItemOptions options,
                                                        const NSFileProviderRequest&,
                                                        NSFileProviderItemCompletion handler) override {
    const std::string path = *itemTemplate->parentItemIdentifier() + "/" + *itemTemplate->filename();
    const bool folder = itemTemplate->contentType()->conformsTo(UTType::directory());
    const bool mayExist = options == NSFileProviderCreateItemOptions::mayAlreadyExist;
    const auto taken = take(contents);
    return carryOut("create", path, std::move(handler), [=, this](auto& reply, std::optional<NSError> error) {
      if (!error) error = create(path, folder, mayExist, taken);
      reply(error ? nullptr : item(path), error ? fields : static_cast<Fields>(0x80000000), false, error);
    });
  }
  std::shared_ptr<NSProgress> modifyItem(const NSFileProviderItemPtr& wanted,
                                         const NSFileProviderItemVersion&, Fields fields,
                                         const std::optional<NSURL>& contents,
                                         NSFileProviderModifyItemOptions, const NSFileProviderRequest&,
                                         NSFileProviderItemCompletion handler) override {
    const std::string path = *wanted->itemIdentifier();
    if (contains(fields, Fields::contents)) {
      const auto taken = take(contents);
      const double date = wanted->contentModificationDate()->timeIntervalSince1970();
      return carryOut("upload", path, std::move(handler),
                      [=, this](auto& reply, std::optional<NSError> error) {
                        if (!error) error = upload(path, taken, date);
                        reply(error ? nullptr : item(path),
                              error ? fields : without(fields, Fields::contents), false, error);
                      });
    }
    for (const Fields field : {Fields::filename, Fields::parentItemIdentifier}) {
      if (!contains(fields, field)) continue;
      const std::string to = *wanted->parentItemIdentifier() + "/" + *wanted->filename();
      return carryOut(
          "move", path + " " + to, std::move(handler), [=, this](auto& reply, std::optional<NSError> error) {
            if (!error) error = move(path, to);
            reply(error ? nullptr : item(to), error ? fields : without(fields, field), false, error);
          });
    }
    const auto lowest = static_cast<std::uint64_t>(fields) & (~static_cast<std::uint64_t>(fields) + 1);
    return carryOut("metadata", path, std::move(handler),
                    [=, this](auto& reply, std::optional<NSError> error) {
                      auto found = error ? nullptr : item(path);
                      if (!error && !found) error = gone(path);
                      reply(found, without(fields, static_cast<Fields>(lowest)), false, error);
                    });
  }
  std::shared_ptr<NSProgress> deleteItemWithIdentifier(const std::string& path,
                                                       const NSFileProviderItemVersion&,
                                                       NSFileProviderDeleteItemOptions,
                                                       const NSFileProviderRequest&,
                                                       Completion<std::optional<NSError>> handler) override {
    return carryOut("delete", path, std::move(handler),
                    [this, path](auto& reply, std::optional<NSError> error) {
                      if (!error && !item(path)) error = gone(path);
                      if (!error) erase(path);
                      reply(error);
                    });
  }

 private:
  struct Entry {
    bool folder = false;
    std::string content;
    double date = 0;
  };

  class Enumerator final : public NSFileProviderEnumerator {
   public:
    Enumerator(ScriptedServer& server, std::string identifier)
        : server_(server), identifier_(std::move(identifier)) {}
    void invalidate() override {}
    void enumerateItemsForObserver(std::shared_ptr<NSFileProviderEnumerationObserver> observer,
                                   const NSFileProviderPage&) override {
      server_.carryOut(
          "list", identifier_, std::move(observer),
          [&server = server_, folder = identifier_](auto& listener, std::optional<NSError> error) {
            if (!error && !server.isFolder(folder)) error = gone(folder);
            if (error) return listener->finishEnumeratingWithError(*error);
            listener->didEnumerateItems(server.children(folder));
            listener->finishEnumeratingUpToPage(std::nullopt);
          });
    }
    void enumerateChangesForObserver(std::shared_ptr<NSFileProviderChangeObserver>,
                                     const NSFileProviderSyncAnchor&) override {}
    void currentSyncAnchorWithCompletionHandler(
        Completion<std::optional<NSFileProviderSyncAnchor>>) override {}

   private:
    ScriptedServer& server_;
    std::string identifier_;
  };

  template <typename Handler, typename Work>
  std::shared_ptr<NSProgress> carryOut(const std::string& operation, const std::string& path, Handler handler,
                                       Work work) {
    auto progress = NSProgress::create(100);
    Fate fate = Fate::carryOut;
    std::optional<NSError> error;
    {
      const std::lock_guard lock(mutex_);
      log_.push_back(operation + " " + path);
      progress_ = progress;
      auto& fates = fates_[operation + " " + path];
      if (!fates.empty()) {
        std::tie(fate, error) = fates.front();
        fates.pop_front();
      } else if (decide_) {
        fate = decide_(operation + " " + path);
        if (fate == Fate::fail) error = errorWithPOSIXCode(EIO, "It did not work out.");
      }
      auto shared = std::make_shared<Handler>(std::move(handler));
      if (fate == Fate::hold) held_.push_back([shared, work]() mutable { work(*shared, std::nullopt); });
      if (fate == Fate::keepSilent) silent_.push_back(shared);
      changed_.notify_all();
      handler = fate == Fate::hold || fate == Fate::keepSilent ? Handler() : std::move(*shared);
    }
    if (fate == Fate::holdAnswer) {
      handler = answeredLater(std::move(handler));
      fate = Fate::carryOut;
    }
    if (fate == Fate::carryOut || fate == Fate::fail) work(handler, error);
    if (fate == Fate::loseReply) {
      Handler nobody = discarded<Handler>();
      work(nobody, std::nullopt);
    }
    return progress;
  }

  template <typename Handler>
  Handler answeredLater(Handler handler) {
    if constexpr (requires { Handler([](auto&&...) {}); }) {
      auto shared = std::make_shared<Handler>(std::move(handler));
      return Handler([this, shared](auto... answer) {
        const std::lock_guard lock(mutex_);
        held_.push_back([shared, answer...] { (*shared)(answer...); });
      });
    } else {
      return handler;
    }
  }
  template <typename Handler>
  static Handler discarded() {
    if constexpr (requires { Handler([](auto&&...) {}); }) {
      return Handler([](auto&&...) {});
    } else {
      return std::make_shared<DeafObserver>();
    }
  }
  class DeafObserver final : public NSFileProviderEnumerationObserver {
    void didEnumerateItems(const std::vector<NSFileProviderItemPtr>&) override {}
    void finishEnumeratingUpToPage(const std::optional<NSFileProviderPage>&) override {}
    void finishEnumeratingWithError(const NSError&) override {}
  };

  static NSError gone(const std::string& path) {
    return {NSFileProviderErrorDomain, NSFileProviderErrorNoSuchItem,
            NSDictionary{{NSLocalizedDescriptionKey, path + " is not there"}}};
  }
  static NSError existing(const std::string& path) {
    return {NSCocoaErrorDomain, 516, NSDictionary{{NSLocalizedDescriptionKey, path + " is there already"}}};
  }

  double nextDate() { return date_ += 10; }
  NSFileProviderItemPtr itemOf(const std::string& path) {
    const auto it = entries_.find(path);
    if (it == entries_.end()) return nullptr;
    const Entry& entry = it->second;
    const auto item = std::make_shared<zelto::FakeItem>();
    item->placeAt(path);
    item->typeField = entry.folder ? UTType::folder() : *UTType::typeWithMIMEType("application/octet-stream");
    if (!entry.folder) item->sizeField = static_cast<std::int64_t>(entry.content.size());
    item->modifiedField = entry.date;
    item->stampField = std::bit_cast<std::uint64_t>(entry.date);  // as the real extension's version
    return item;
  }
  bool isFolder(const std::string& identifier) {
    const std::lock_guard lock(mutex_);
    const auto it = entries_.find(identifier);
    return identifier == NSFileProviderRootContainerItemIdentifier ||
           (it != entries_.end() && it->second.folder);
  }
  bool hasParent(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == 0) return true;
    const auto parent = entries_.find(path.substr(0, slash));
    return parent != entries_.end() && parent->second.folder;
  }
  std::optional<NSError> create(const std::string& path, bool folder, bool mayExist,
                                const std::string& content) {
    const std::lock_guard lock(mutex_);
    if (!hasParent(path)) return gone(path);
    const auto it = entries_.find(path);
    if (it != entries_.end()) {
      if (folder && mayExist && it->second.folder) return std::nullopt;
      return existing(path);
    }
    entries_[path] = {folder, content, nextDate()};
    return std::nullopt;
  }
  std::optional<NSError> upload(const std::string& path, const std::string& content, double date) {
    const std::lock_guard lock(mutex_);
    if (!entries_.contains(path)) return gone(path);
    entries_[path] = {false, content, date};
    return std::nullopt;
  }
  std::optional<NSError> move(const std::string& from, const std::string& to) {
    const std::lock_guard lock(mutex_);
    if (!entries_.contains(from) || !hasParent(to)) return gone(from);
    if (from == to) return std::nullopt;
    if (entries_.contains(to)) return existing(to);
    std::map<std::string, Entry> moved;
    for (const auto& [path, entry] : entries_) {
      const bool below = path == from || path.starts_with(from + "/");
      moved[below ? to + path.substr(from.size()) : path] = entry;
    }
    entries_.swap(moved);
    return std::nullopt;
  }
  void eraseTree(const std::string& top) {
    std::erase_if(entries_,
                  [&](const auto& each) { return each.first == top || each.first.starts_with(top + "/"); });
  }
  // As the real extension does, the content is moved away first of all.
  std::string take(const std::optional<NSURL>& contents) {
    if (!contents) return {};
    std::stringstream text;
    text << std::ifstream(contents->path(), std::ios::binary).rdbuf();
    std::filesystem::remove(contents->path());
    return text.str();
  }
  std::optional<NSURL> deliver(const std::string& content) {
    const std::lock_guard lock(mutex_);
    const auto path = directory_ / ("delivery" + std::to_string(++deliveries_));
    std::ofstream(path, std::ios::binary) << content;
    return NSURL::fileURL(path.string());
  }

  const std::filesystem::path directory_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::string, Entry> entries_;
  std::map<std::string, std::deque<std::pair<Fate, std::optional<NSError>>>> fates_;
  std::function<Fate(const std::string&)> decide_;
  std::vector<std::string> log_;
  std::vector<std::function<void()>> held_;
  std::vector<std::shared_ptr<void>> silent_;
  std::shared_ptr<NSProgress> progress_;
  double date_ = 1'700'000'000;
  int deliveries_ = 0;
};

}  // namespace zelto::test
