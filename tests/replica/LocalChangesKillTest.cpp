#include <csignal>
#include <cstring>
#include <sstream>

#include <fcntl.h>
#include <sys/wait.h>

#include "LocalWork.h"
#include "ReplicaFixture.h"

namespace zelto {
namespace {

using Kind = LocalStep::Kind;

// What the process to be killed tells of itself, a line each: "done" after each operation of the program, and
// each step that the server took, before the replica hears of it.
class Reports {
 public:
  explicit Reports(int pipe) : pipe_(pipe) {}

  void done() const { send("done\n"); }
  void taken(const LocalStep& step, const std::string& bytes) const {
    std::ostringstream line;
    line << "taken " << static_cast<int>(step.kind) << ' ' << static_cast<int>(step.node.kind) << ' '
         << (step.identifier.empty() ? "-" : step.identifier) << ' ' << step.parentIdentifier << ' '
         << step.name << ' ' << bytes << '\n';
    send(line.str());
  }
  static LocalStep stepIn(std::istream& line, std::string& bytes) {
    LocalStep step;
    int kind = 0;
    int nodeKind = 0;
    line >> kind >> nodeKind >> step.identifier >> step.parentIdentifier >> step.name;
    line.get();
    std::getline(line, bytes);
    step.kind = Kind{static_cast<std::uint8_t>(kind)};
    step.node.kind = NodeKind{static_cast<std::uint8_t>(nodeKind)};
    if (step.identifier == "-") step.identifier.clear();
    return step;
  }

 private:
  void send(const std::string& line) const {
    if (::write(pipe_, line.data(), line.size()) < 0) ::_exit(1);
  }

  const int pipe_;
};

// A program and a propagation at work in the process that will be killed.
class ChangingVictim {
 public:
  ChangingVictim(const std::string& directory, unsigned seed, int pipe)
      : directory_(directory), work_(seed), random_(seed + 1000000), reports_(pipe) {
    server_.put("/s", std::nullopt);
  }

  [[noreturn]] void run() {
    replica_ = std::move(*Replica::open(directory_));
    replica_->applyListing(kRootInode, {fakeFolder("", "s")});
    replica_->applyListing(*replica_->inodeForRelativePath("s"), {});
    for (;;) {
      const std::string failure = work_.work(replica_.get());
      if (!failure.empty()) {
        std::cerr << work_.last << ": " << failure << "\n";
        ::_exit(2);
      }
      reports_.done();
      for (std::size_t count = below(3); count > 0; --count) beginOne();
      for (std::size_t count = below(3); count > 0; --count) endOne();
      if (below(6) == 0) listOne();
      if (below(8) == 0) replica_->flush();
    }
  }

 private:
  std::size_t below(std::size_t limit) { return random_() % limit; }

  void beginOne() {
    const auto pending = replica_->localChanges();
    if (pending.empty()) return;
    auto step = replica_->beginStep(pending[below(pending.size())]);
    if (!step) return;
    const std::string bytes = exportedBytes(*replica_, *step, directory_ + "/../export");
    const bool taken = below(4) != 0;
    NSFileProviderItemPtr item;
    if (taken) {
      if (const std::string error = server_.take(*step, bytes); !error.empty()) {
        std::cerr << "refused: " << static_cast<int>(step->kind) << " " << step->identifier << " -> "
                  << step->destination() << " " << error << "\n";
        ::_exit(3);
      }
      reports_.taken(*step, bytes);
      const bool places = step->kind == Kind::create || step->kind == Kind::move;
      if (places) item = server_.item(step->destination());
      if (step->kind == Kind::upload) item = server_.item(step->identifier);
    }
    begun_.push_back({*step, taken, item});
  }

  void endOne() {
    if (begun_.empty()) return;
    const auto which = begun_.begin() + static_cast<std::ptrdiff_t>(below(begun_.size()));
    which->taken ? replica_->settle(which->step, which->item),
        void()   : replica_->stepFailed(which->step, true);
    begun_.erase(which);
  }

  void listOne() {
    for (const auto& [path, bytes] : Tree(server_.tree)) {
      const auto folder = bytes ? std::nullopt : replica_->inodeForIdentifier(path);
      if (!folder || below(3) != 0 || replica_->identifier(*folder) != path) continue;
      const auto change = replica_->localChange(*folder);
      if (!change || !change->created) replica_->applyListing(*folder, server_.children(path));
    }
  }

  struct Begun {
    LocalStep step;
    bool taken;
    NSFileProviderItemPtr item;
  };

  const std::string directory_;
  LocalWork work_;
  std::mt19937 random_;
  const Reports reports_;
  SimulatedServer server_;
  std::vector<Begun> begun_;
  std::unique_ptr<Replica> replica_;
};

// A program changes a tree, the server takes steps, and the process is killed: the next one shows all that
// had been done, and the server comes to have it, once.
class LocalChangesKillTest : public ReplicaFixture {
 protected:
  // Starts a victim and kills it once it has reported so much, or lets it run into its kill point.
  std::string reportsOf(unsigned seed, std::size_t bytes, const std::string& killPoint) {
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const pid_t child = ::fork();
    if (child == 0) {
      if (!killPoint.empty()) ::setenv("ZELTO_KILL_POINT", killPoint.c_str(), 1);
      ChangingVictim(directory, seed, ends[1]).run();
    }
    ::close(ends[1]);
    std::string text;
    std::string buffer(1 << 16, '\0');
    bool killed = false;
    for (;;) {
      if (text.size() >= bytes && !std::exchange(killed, true)) ::kill(child, SIGKILL);
      const std::size_t room = killed ? buffer.size() : std::min(buffer.size(), bytes - text.size());
      const ssize_t got = ::read(ends[0], buffer.data(), room);
      if (got <= 0) break;
      text.append(buffer, 0, static_cast<std::size_t>(got));
    }
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "exit " << WEXITSTATUS(status);
    return text.substr(0, text.rfind('\n') + 1);
  }

  // What the program had done by then, and what the server had.
  void replay(unsigned seed, const std::string& reports) {
    work_ = std::make_unique<LocalWork>(seed);
    server_ = SimulatedServer();
    server_.put("/s", std::nullopt);
    std::istringstream lines(reports);
    for (std::string line; std::getline(lines, line);) {
      log_ << line << "\n";
      std::istringstream words(line);
      std::string word;
      words >> word;
      if (word == "done") {
        work_->work(nullptr);
        log_ << "  " << work_->last << "\n";
        continue;
      }
      std::string bytes;
      const LocalStep step = Reports::stepIn(words, bytes);
      EXPECT_EQ(server_.take(step, bytes), "");
    }
  }

  // Bytes that are no longer here come from the server, which may have the file elsewhere by moves that the
  // replica has not heard of.
  void fetchInto(Tree& here) {
    for (auto& [path, bytes] : here) {
      if (!bytes || !bytes->starts_with("size ")) continue;
      const auto file = content(at(path.substr(1)));
      auto there = server_.tree.find(replica->identifier(at(path.substr(1))));
      const bool known =
          there != server_.tree.end() && there->second && file && there->second->size() == file->size();
      if (!known)
        there = std::ranges::find_if(server_.tree, [&](const auto& served) {
          const auto wanted = work_->model.find(path);
          if (wanted != work_->model.end()) return served.second && wanted->second == served.second;
          return served.second && file && served.second->size() == file->size();
        });
      if (there == server_.tree.end()) continue;
      bytes = there->second;
      if (file && file->size() == bytes->size()) {
        file->takeOver(delivered(*bytes), {0, bytes->size()});
      } else {
        outdated_ = true;  // of a version before: whoever opens it is told of the one that there is
      }
    }
  }

  // All done operations, and of the one that was going on a part or all.
  void checkShown() {
    Tree here;
    readTree(*replica, kRootInode, "", here);
    fetchInto(here);
    const Tree before = work_->model;
    if (here == before) return;
    if (here.empty() && before.size() == 1) return;  // killed before the share was known for good
    work_->work(nullptr);
    log_ << "began: " << work_->last << "\n";
    if (here == work_->model) return;
    for (const Tree& between : work_->between) {
      if (here != between) continue;
      work_->model = here;
      return;
    }
    ADD_FAILURE() << "against what was done:\n"
                  << differenceOf(before, here) << "against one more:\n"
                  << differenceOf(work_->model, here);
  }

  // As the propagation takes the errors of a step that was taken before without its being told. True when the
  // step need not be taken again.
  bool sendOne(LocalStep& step, bool remakesParents) {
    const std::string bytes = exportedBytes(*replica, step, top + "/export");
    const std::string error = server_.take(step, bytes);
    const std::string to = step.destination();
    log_ << "sent " << static_cast<int>(step.kind) << ' ' << step.identifier << " -> " << to << ' ' << error
         << "\n";
    if (step.kind == Kind::remove && error == "gone") return replica->settle(step, nullptr), true;
    if (step.kind == Kind::create && error == "exists") {
      // With nobody else at work it is ours; perhaps with older bytes.
      if (step.node.kind == NodeKind::file) server_.put(to, bytes);
      return replica->settle(step, server_.item(to)), true;
    }
    if (step.kind == Kind::move && error == "gone" && server_.tree.contains(to)) {
      return replica->settle(step, server_.item(to)), true;
    }
    const bool places = step.kind == Kind::create || step.kind == Kind::move;
    if (error.empty()) {
      const bool gone = step.kind == Kind::remove;
      replica->settle(step, gone ? nullptr : server_.item(places ? to : step.identifier));
      return true;
    }
    replica->stepFailed(step, step.repeated);
    if (step.repeated) return true;
    if ((step.kind == Kind::move || step.kind == Kind::upload) && error == "gone")
      return replica->serverLost(step.node.inode), true;
    // The folder has been moved on the server already, which the replica is still to hear.
    EXPECT_TRUE(places && error.starts_with("no folder")) << error << " " << step.identifier << " -> " << to;
    if (remakesParents) replica->serverLost(step.node.parent);
    return false;
  }

  void sendAll(bool remakesParents) {
    bool any = true;
    while (std::exchange(any, false)) {
      for (const Inode inode : replica->localChanges()) {
        auto step = replica->beginStep(inode);
        if (step && sendOne(*step, remakesParents)) any = true;
      }
    }
  }

  // The program goes on, and answers of the server get lost.
  void goOn(unsigned seed) {
    std::mt19937 random(seed + 2000000);
    for (int round = 0; round < 20; ++round) {
      EXPECT_EQ(work_->work(replica.get()), "");
      log_ << "goes on: " << work_->last << "\n";
      for (const Inode inode : replica->localChanges()) {
        if (random() % 3 != 0) continue;
        auto step = replica->beginStep(inode);
        if (!step) continue;
        const std::string bytes = exportedBytes(*replica, *step, top + "/export");
        const bool taken = server_.take(*step, bytes).empty();
        log_ << "lost " << static_cast<int>(step->kind) << ' ' << step->identifier << " -> "
             << step->destination() << (taken ? " taken" : "") << "\n";
        replica->stepFailed(*step);
      }
    }
  }

  void checkServer() {
    Tree expected = work_->model;
    for (const Inode inode : replica->localChanges()) {
      const auto change = *replica->localChange(inode);
      const auto step = replica->beginStep(inode);
      EXPECT_TRUE(change.staysLocal) << inode << " " << change.path << " (" << change.identifier
                                     << ") waits for " << (step ? 0 : step.error().another);
      expected.erase("/" + change.path);
    }
    EXPECT_EQ(differenceOf(expected, server_.tree), "");
  }

  void checkFiles() {
    std::size_t local = 0;
    for (const Inode inode : replica->localChanges()) {
      if (replica->localChange(inode)->kind == NodeKind::file) ++local;
    }
    replica->close();  // with all that follows from what is written
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory + "/local"))
      files += entry.exists();
    EXPECT_EQ(files, local) << "files in local/";
  }

  void killAndCheck(unsigned seed, std::size_t bytes, const std::string& killPoint) {
    std::filesystem::remove_all(directory);
    log_.str("");
    const std::string reports = reportsOf(seed, bytes, killPoint);
    // A process of its own, so that its points of killing are its own, too.
    const pid_t child = ::fork();
    if (child == 0) {
      replay(seed, reports);
      open();
      checkShown();
      if (std::getenv("ZELTO_TEST_LOST_ANSWERS") != nullptr && !outdated_) goOn(seed);
      sendAll(seed % 2 == 0);
      checkServer();
      checkFiles();
      if (HasFailure()) std::cerr << "seed " << seed << " " << killPoint << "\n" << log_.str();
      ::_exit(HasFailure() ? 1 : 0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_EQ(status, 0) << "seed " << seed << " " << killPoint;
    done_ += static_cast<std::size_t>(std::ranges::count(reports, '\n'));
  }

  std::unique_ptr<LocalWork> work_;
  SimulatedServer server_;
  std::ostringstream log_;
  bool outdated_ = false;
  std::size_t done_ = 0;
};

// A folder that was listed just now is not in the database yet.
TEST_F(LocalChangesKillTest, WhatIsMadeInAFolderOfJustNowKeepsItsPlace) {
  const pid_t child = ::fork();
  if (child == 0) {
    open();
    replica->applyListing(kRootInode, {fakeFolder("", "s")});
    replica->applyListing(at("s"), {fakeFolder("/s", "deep")});
    replica->applyListing(at("s/deep"), {});
    const auto made = replica->create(at("s/deep"), "file", {NodeKind::file, 0644, ""});
    ::kill(::getpid(), made ? SIGKILL : SIGTERM);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_EQ(WTERMSIG(status), SIGKILL);
  open();
  EXPECT_NE(at("s/deep/file"), 0U);
}

TEST_F(LocalChangesKillTest, WhateverTheMomentWhatWasDoneIsThereAndGetsToTheServerOnce) {
  const char* const fixed = std::getenv("ZELTO_TEST_SEED");
  const unsigned first = fixed != nullptr ? static_cast<unsigned>(std::stoul(fixed)) : 1;
  const char* const many = std::getenv("ZELTO_TEST_COUNT");
  const unsigned count = many != nullptr ? static_cast<unsigned>(std::stoul(many)) : 60;
  for (unsigned seed = first; seed < first + count; ++seed) {
    ASSERT_NO_FATAL_FAILURE(killAndCheck(seed, 1 + std::size_t{seed} * seed * 37 % 6000, ""));
  }
  EXPECT_GT(done_, count * 10);
}

}  // namespace
}  // namespace zelto
