#pragma once

#include <algorithm>
#include <atomic>
#include <future>
#include <sstream>

#include <gtest/gtest.h>
#include <unistd.h>

#include "framework/propagation/Propagator.h"
#include "tests/framework/FakeExtension.h"
#include "tests/framework/ScriptedServer.h"

namespace zelto::test {

// A replica of a scripted server, changed as programs change it, and what brings the changes there. Changes
// rest for a millisecond and failures pause for an hour, unless a test says otherwise.
class PropagationFixture : public ::testing::Test, protected ReplicaFixture {
 protected:
  using Fate = ScriptedServer::Fate;
  using Tree = std::map<std::string, std::string>;
  using Lines = std::vector<std::string>;

  PropagationFixture() {
    std::filesystem::create_directory(exports());
    std::filesystem::create_directory(deliveries());
    settings.sending.settleDown = std::chrono::milliseconds(1);
    settings.sending.settleAtMost = std::chrono::milliseconds(1);
    settings.sending.firstPause = settings.sending.longestPause = std::chrono::hours(1);
    settings.noticePause = std::chrono::milliseconds(1);
    server.putFolder("/share");
  }
  ~PropagationFixture() override {
    if (propagator) propagator->close();
  }

  std::filesystem::path exports() const { return directory / "exports"; }
  std::filesystem::path deliveries() const { return directory / "deliveries"; }

  // Lists everything and begins.
  void start() {
    lister.hostReady();
    list(kRootInode);
    make();
    propagator->hostReady();
  }
  void make() {
    Propagator::Observers observers{
        .changed = [](const ReplicaDelta&) {},
        .countsChanged = [this](const Propagator::Counts& counts) { lastTold = counts.pending; },
        .progress = [this](const std::string&, std::int64_t completed, std::int64_t) { told = completed; },
        .conflict =
            [this](const std::string& path, const std::string& message) {
              const std::lock_guard lock(conflictsMutex);
              conflicts.push_back(path + ": " + message);
            },
    };
    propagator = Propagator::make({server, *replica, lister, deadlines, exports().string()},
                                  std::move(observers), settings);
    propagator->start();
  }
  void listRoot() { listOne(kRootInode); }
  void listOne(Inode folder) {
    std::promise<int> done;
    lister.list(folder, std::make_shared<FunctionWaiter>([&done](int error) { done.set_value(error); }));
    EXPECT_EQ(done.get_future().get(), 0);
  }
  void list(Inode folder) {
    listOne(folder);
    for (const Inode child : *replica->children(folder)) {
      if (replica->node(child)->kind == NodeKind::folder) list(child);
    }
  }

  // ---- as programs do it
  Inode at(const std::string& path) { return replica->inodeForRelativePath(path).value_or(0); }
  static std::pair<std::string, std::string> split(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) return {"", path};
    return {path.substr(0, slash), path.substr(slash + 1)};
  }
  std::shared_ptr<ContentFile> openToWrite(const std::string& path) {
    const auto [folder, name] = split(path);
    if (const Inode there = at(path); there != 0) return replica->beginWriting(there, true).value();
    return replica->create(at(folder), name, {NodeKind::file, 0644, {}}).value().content;
  }
  void writeTo(const ContentFile& file, const std::string& text) {
    auto& content = const_cast<ContentFile&>(file);
    ASSERT_TRUE(content
                    .write(0,
                           [&](int descriptor) -> ContentFile::WriteResult {
                             return static_cast<std::size_t>(
                                 ::pwrite(descriptor, text.data(), text.size(), 0));
                           })
                    .has_value());
    replica->written(file.inode(), file);
  }
  void write(const std::string& path, const std::string& text) {
    const auto file = openToWrite(path);
    writeTo(*file, text);
    replica->endWriting(file->inode(), *file);
  }
  void makeFolder(const std::string& path) {
    const auto [folder, name] = split(path);
    ASSERT_TRUE(replica->create(at(folder), name, {NodeKind::folder, 0755, {}}).has_value());
  }
  void rename(const std::string& from, const std::string& to) {
    const auto [folder, name] = split(to);
    ASSERT_EQ(replica->rename(at(from), at(folder), name, true), 0) << from << " " << to;
  }
  void remove(const std::string& path) { ASSERT_EQ(replica->remove(at(path)), 0) << path; }

  // ---- waiting
  // Sends everything; what has failed.
  std::vector<PendingChange> send() {
    auto done = std::make_shared<std::promise<std::vector<PendingChange>>>();
    auto failed = done->get_future();
    propagator->flushNow();
    propagator->waitUntilDone(
        [done](std::vector<PendingChange> changes) { done->set_value(std::move(changes)); });
    if (failed.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
      ADD_FAILURE() << "not done: " << pendingText();
      return {};
    }
    return failed.get();
  }
  void expectSent() {
    const auto failed = send();
    EXPECT_TRUE(failed.empty()) << (failed.empty() ? "" : failed[0].info.path + ": " + failed[0].reason);
    EXPECT_EQ(propagator->pending(100).size(), 0U) << pendingText();
  }
  // Until what the last request came to is noted.
  void waitForOutcome() {
    propagator->drain();  // the request is made
    propagator->drain();  // and its answer, or the loss of it, taken
  }
  std::string pendingText() {
    std::ostringstream text;
    for (const auto& change : propagator->pending(100)) {
      text << change.info.path << " " << static_cast<int>(change.state) << " " << change.reason << "\n";
    }
    return text.str();
  }
  std::string stateOf(const std::string& path) { return propagator->stateText(*replica->node(at(path))); }
  // The names here, in order.
  Lines namesIn(const std::string& folder) {
    Lines names;
    for (const Inode inode : *replica->children(at(folder))) names.push_back(replica->name(inode));
    std::ranges::sort(names);
    return names;
  }
  // Nothing is left in the group directory, of what we put there and of what was delivered.
  void expectNoLitter() {
    EXPECT_TRUE(std::filesystem::is_empty(exports()));
    EXPECT_TRUE(std::filesystem::is_empty(deliveries()));
  }
  Lines conflictsSoFar() {
    const std::lock_guard lock(conflictsMutex);
    return conflicts;
  }

  ScriptedServer server{(std::filesystem::path(directory) / "deliveries")};
  Lister lister{server, *replica, [](const ReplicaDelta&) {}, [](std::size_t) {}};
  Propagator::Settings settings;
  std::shared_ptr<Propagator> propagator;
  std::mutex conflictsMutex;
  Lines conflicts;
  std::atomic<std::size_t> lastTold = 0;
  std::atomic<std::int64_t> told = 0;
};

inline NSError cocoaError(std::int64_t code, const std::string& text) {
  return {NSCocoaErrorDomain, code, NSDictionary{{NSLocalizedDescriptionKey, text}}};
}

}  // namespace zelto::test
