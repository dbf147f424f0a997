#include <iostream>
#include <regex>

#include "tests/framework/TwoWriters.h"
#include "tests/system/Chances.h"

namespace zelto::test {

// ---- what lies between them

// The same for the same seed, in whatever order requests of different items come, and at whatever time.
TwoWriters::Fate TwoWriters::decide(const std::string& asked) {
  static const std::regex kTime(R"( \(conflict [^)]*\))");
  const std::string request = std::regex_replace(asked, kTime, "*");
  const std::lock_guard lock(fatesMutex_);
  ++requestCount_;
  if (smooth_) return Fate::carryOut;
  std::seed_seq seeds{seed_, ++requests_[request], static_cast<unsigned>(std::hash<std::string>()(request))};
  const auto what = std::mt19937(seeds)() % 100;
  const auto operation = request.substr(0, request.find(' '));
  const bool changes = operation != "look" && operation != "find" && operation != "fetch";
  if (operation == "list" || what < 70) return Fate::carryOut;
  if (what < 78) return Fate::fail;
  if (!changes) return Fate::hold;
  return what < 88 ? Fate::loseReply : Fate::holdAnswer;
}

// Until nothing goes on but what waits for a held answer.
void TwoWriters::letSettle() {
  unsigned quiet = 0, before = 0;
  while (quiet < 4) {
    propagator->drain();
    unsigned now = 0;
    {
      const std::lock_guard lock(fatesMutex_);
      now = requestCount_;
    }
    quiet = now == before && propagator->counts().uploading == server.held() ? quiet + 1 : 0;
    before = now;
  }
  noteVersions();
  const auto changes = server.changes();
  for (; noted_ < changes.size(); ++noted_) note("    -> " + changes[noted_]);
}

void TwoWriters::sendNow() {
  propagator->flushNow();
  letSettle();
}

void TwoWriters::release() {
  note("    held answers come");
  server.release();
  letSettle();
}

void TwoWriters::retry() {
  note("    what failed is tried again");
  propagator->retryAll();
  letSettle();
}

void TwoWriters::loseHost() {
  note("    host lost");
  propagator->hostLost();
  propagator->drain();
  server.forgetHeld();
  propagator->hostReady();
  letSettle();
}

void TwoWriters::askForListing() {
  auto paths = here(NodeKind::folder);
  paths.push_back("share");
  const auto path = oneOf(paths);
  const Inode folder = at(path);
  const auto identifier = replica->identifier(folder);
  if (answers_.contains(folder) || !server.tree().contains(identifier)) return;
  if (server.tree().at(identifier) != "/") return;
  note("    asks for a listing of " + path);
  answers_[folder] = {folder, server.children(identifier), {}, {replica->settledSoFar(), identifier}};
}

void TwoWriters::askForChanges() {
  if (answers_.contains(0)) return;
  Answer answer{0, {}, {}, {replica->settledSoFar()}};
  std::map<std::string, NSFileProviderItemPtr> now;
  for (const auto& [path, content] : server.tree()) {
    if (path == "/share") continue;
    const auto item = now[path] = server.item(path);
    const auto known = lastTold_.find(path);
    const bool same = known != lastTold_.end() && *known->second->itemVersion() == *item->itemVersion();
    if (!same) answer.items.push_back(item);
  }
  for (const auto& [path, item] : lastTold_) {
    if (!now.contains(path)) answer.deletions.push_back(path);
  }
  lastTold_ = std::move(now);
  note("    asks for changes");
  answers_[0] = std::move(answer);
}

void TwoWriters::arrive() {
  if (answers_.empty()) return;
  const auto which = std::next(answers_.begin(), static_cast<std::ptrdiff_t>(below(answers_.size())));
  const Answer answer = std::move(which->second);
  answers_.erase(which);
  note(answer.folder == 0 ? "    changes arrive"
                          : "    a listing arrives of " + replica->identifier(answer.folder));
  take(answer);
}

void TwoWriters::take(const Answer& answer) {
  const auto delta = answer.folder == 0 ? replica->applyChanges(answer.items, answer.deletions, answer.asked)
                                        : replica->applyListing(answer.folder, answer.items, answer.asked);
  for (const Inode folder : delta.toList) {
    lister.list(folder, std::make_shared<FunctionWaiter>([](int) {}));
  }
}

// ---- the end

void TwoWriters::listAll(Inode folder) {
  lister.list(folder, std::make_shared<FunctionWaiter>([](int) {}));
  const auto children = replica->children(folder);
  if (!children) return;
  for (const Inode child : *children) {
    const auto node = replica->node(child);
    if (node && node->kind == NodeKind::folder) listAll(child);
  }
}

void TwoWriters::bringToRest() {
  constexpr int kMostRounds = 30;
  note("all comes to rest");
  closeAll();
  {
    const std::lock_guard lock(fatesMutex_);
    smooth_ = true;
  }
  server.release();
  while (!answers_.empty()) arrive();
  for (int round = 0; round < kMostRounds; ++round) {
    letSettle();
    propagator->retryAll();
    sendNow();
    listAll(kRootInode);
    if (propagator->pending(1).empty() && replica->localChanges().empty()) return;
  }
  ADD_FAILURE() << "not all is sent: " << pendingText();
}

void TwoWriters::expectNothingLost() {
  std::set<std::string> left;
  for (const auto& [path, content] : server.tree()) left.insert(content);
  for (const auto& text : written_) {
    EXPECT_TRUE(left.contains(text) || replaced_.contains(text)) << "lost: " << text;
  }
}

void TwoWriters::expectTold() {
  std::string messages;
  for (const auto& line : conflictsSoFar()) messages += line + "\n";
  for (const auto& [path, content] : server.tree()) {
    const auto name = path.substr(path.rfind('/') + 1);
    const bool conflict = name.find(" (conflict ") != std::string::npos;
    EXPECT_TRUE(!conflict || messages.find("\"" + name + "\"") != std::string::npos) << path << "\n"
                                                                                     << messages;
  }
}

void TwoWriters::expectSameFile(const std::string& path, Inode inode, const std::string& content) {
  const auto version = replica->version(inode);
  const auto item = server.item("/" + path);
  ASSERT_TRUE(version.has_value()) << path;
  EXPECT_EQ(version->contentVersion.text(), item->itemVersion()->contentVersion.text()) << path;
  EXPECT_EQ(replica->node(inode)->size, content.size()) << path;
  const auto file = replica->content(inode);
  ASSERT_TRUE(file.has_value()) << path;
  if (!(*file)->complete() || content.empty()) return;
  std::string bytes(content.size(), ' ');
  EXPECT_EQ(::pread((*file)->descriptor(), bytes.data(), bytes.size(), 0),
            static_cast<ssize_t>(bytes.size()));
  EXPECT_EQ(bytes, content) << path;
}

void TwoWriters::expectSame() {
  std::set<std::string> folders;
  std::set<std::string> files;
  for (const auto& path : here(NodeKind::folder)) folders.insert("/" + path);
  for (const auto& path : here(NodeKind::file)) files.insert("/" + path);
  for (const auto& [path, content] : server.tree()) {
    if (path == "/share") continue;
    EXPECT_EQ((content == "/" ? folders : files).erase(path), 1U) << path << " is not here";
  }
  EXPECT_TRUE(folders.empty()) << *folders.begin() << " is not there";
  EXPECT_TRUE(files.empty()) << *files.begin() << " is not there";
  if (HasFailure()) return;
  for (const auto& path : here(NodeKind::file)) expectSameFile(path, at(path), server.tree().at("/" + path));
}

void TwoWriters::run(unsigned operations) {
  for (const char* folder : {"/share/x", "/share/y"}) server.putFolder(folder);
  for (const char* file : {"/share/a", "/share/b", "/share/x/a"}) putThere(file);
  noteVersions();
  start();
  letSettle();
  for (unsigned i = 0; i < operations; ++i) {
    const auto what = below(100);
    if (what < 36) operateHere();
    if (what >= 36 && what < 58) operateThere();
    if (what >= 58 && what < 74) sendNow();
    if (what >= 74 && what < 80) askForListing();
    if (what >= 80 && what < 84) askForChanges();
    if (what >= 84 && what < 92) arrive();
    if (what >= 92 && what < 97) release();
    if (what >= 97) what == 97 ? loseHost() : retry();
  }
  bringToRest();
  expectNothingLost();
  expectTold();
  expectSame();
  expectNoLitter();
}

namespace {

// Longer runs and single seeds: by ZELTO_TEST_COUNT and ZELTO_TEST_SEED.
void runSchedules(bool sameSizes) {
  const unsigned first = numberFromEnvironment("ZELTO_TEST_SEED", 1);
  const unsigned count = numberFromEnvironment("ZELTO_TEST_COUNT", 100);
  for (unsigned seed = first; seed < first + count; ++seed) {
    TwoWriters writers(seed, sameSizes);
    writers.run(20 + seed % 60);
    if (!::testing::Test::HasFailure()) continue;
    std::cerr << "seed " << seed << "\n";
    for (const auto& line : writers.story()) std::cerr << line << "\n";
    for (const auto& [path, content] : writers.left()) std::cerr << path << " " << content << "\n";
    return;
  }
}

TEST(TwoWritersTest, NothingIsOverwrittenUnseen) { runSchedules(false); }

TEST(TwoWritersTest, NorWhenAllFilesAreOfOneSize) { runSchedules(true); }

}  // namespace
}  // namespace zelto::test
