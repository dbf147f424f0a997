#include "LocalWork.h"
#include "ReplicaFixture.h"

namespace zelto {
namespace {

// A program at work, steps to a server that are answered sooner, later or not at all, listings in between,
// and restarts: in the end the server has what the program left, and no step was ever refused.
class LocalChangesModelTest : public ReplicaFixture {
 protected:
  void TearDown() override {
    if (HasFailure()) {
      for (const std::string& line : log_) std::cerr << line << "\n";
    }
    ReplicaFixture::TearDown();
  }

  struct Begun {
    LocalStep step;
    bool taken;
    NSFileProviderItemPtr item;
  };

  void begin(unsigned seed) {
    std::filesystem::remove_all(directory);
    work_ = std::make_unique<LocalWork>(seed);
    server_ = SimulatedServer();
    server_.put("/s", std::nullopt);
    begun_.clear();
    log_.clear();
    open();
    replica->applyListing(kRootInode, {fakeFolder("", "s")});
    replica->applyListing(at("s"), {});
  }

  // Starts one step; the server takes it, or it gets lost on the way there.
  void beginOne() {
    const auto pending = replica->localChanges();
    if (pending.empty()) return;
    auto step = replica->beginStep(pending[work_->below(pending.size())]);
    if (!step) return;
    const std::string bytes = exportedBytes(*replica, *step, top + "/export");
    log_.push_back("begin inode " + std::to_string(step->node.inode) + " " + describe(*step) + " bytes " +
                   bytes);
    const bool taken = work_->below(4) != 0;
    NSFileProviderItemPtr item;
    if (taken) {
      const std::string error = server_.take(*step, bytes);
      ASSERT_EQ(error, "") << describe(*step);
      if (step->kind == LocalStep::Kind::upload) item = server_.item(step->identifier);
      if (step->kind == LocalStep::Kind::create || step->kind == LocalStep::Kind::move) {
        item = server_.item(step->destination());
      }
    }
    begun_.push_back({*step, taken, item});
  }

  void endOne() {
    if (begun_.empty()) return;
    const std::size_t which = work_->below(begun_.size());
    const Begun begun = begun_[which];
    begun_.erase(begun_.begin() + static_cast<std::ptrdiff_t>(which));
    log_.push_back("end inode " + std::to_string(begun.step.node.inode) + " " + describe(begun.step));
    if (begun.taken) {
      replica->settle(begun.step, begun.item);
    } else {
      replica->stepFailed(begun.step, true);
    }
  }

  void listSome() {
    for (const auto& [path, bytes] : Tree(server_.tree)) {
      if (bytes || work_->below(3) != 0) continue;
      const auto folder = replica->inodeForIdentifier(path);
      // As the lister does: only what the server is known to have is listed.
      if (!folder || replica->identifier(*folder) != path || isNew(*folder)) continue;
      log_.push_back("list " + path);
      replica->applyListing(*folder, server_.children(path));
    }
  }

  bool isNew(Inode inode) {
    const auto change = replica->localChange(inode);
    return change && change->created;
  }

  void drain() {
    while (!begun_.empty()) endOne();
    for (int round = 0; round < 400 && !replica->localChanges().empty(); ++round) {
      for (const Inode inode : replica->localChanges()) {
        auto step = replica->beginStep(inode);
        if (!step) continue;
        const std::string bytes = exportedBytes(*replica, *step, top + "/export");
        ASSERT_EQ(server_.take(*step, bytes), "") << describe(*step);
        const bool gone = step->kind == LocalStep::Kind::remove;
        const bool moves = step->kind == LocalStep::Kind::create || step->kind == LocalStep::Kind::move;
        replica->settle(*step, gone ? nullptr : server_.item(moves ? step->destination() : step->identifier));
      }
      if (onlyLocalNames()) break;
    }
  }

  bool onlyLocalNames() {
    return std::ranges::all_of(replica->localChanges(),
                               [this](Inode inode) { return replica->localChange(inode)->staysLocal; });
  }

  static std::string describe(const LocalStep& step) {
    return "kind " + std::to_string(static_cast<int>(step.kind)) + " " + step.identifier + " -> " +
           step.destination();
  }

  // Files of programs' own stay here.
  Tree expectedOnServer() {
    Tree tree = work_->model;
    for (const Inode inode : replica->localChanges()) tree.erase("/" + replica->localChange(inode)->path);
    return tree;
  }

  void check(const std::string& when) {
    Tree here;
    readTree(*replica, kRootInode, "", here);
    const std::string difference = differenceOf(work_->model, here);
    ASSERT_EQ(difference, "") << when;
  }

  std::unique_ptr<LocalWork> work_;
  SimulatedServer server_;
  std::vector<Begun> begun_;
  std::vector<std::string> log_;
};

TEST_F(LocalChangesModelTest, TheServerHasInTheEndWhatTheProgramLeft) {
  for (unsigned seed = 1; seed <= 30; ++seed) {
    begin(seed);
    for (int round = 0; round < 150; ++round) {
      const std::string when = "seed " + std::to_string(seed) + " round " + std::to_string(round);
      ASSERT_EQ(work_->work(replica.get()), "") << when;
      log_.push_back("work " + work_->last);
      for (std::size_t count = work_->below(3); count > 0; --count) {
        ASSERT_NO_FATAL_FAILURE(beginOne()) << when;
      }
      for (std::size_t count = work_->below(3); count > 0; --count) endOne();
      if (work_->below(5) == 0) listSome();
      if (work_->below(25) == 0) {
        while (!begun_.empty()) endOne();
        log_.push_back("reopen");
        open();
      }
      ASSERT_NO_FATAL_FAILURE(check(when));
    }
    ASSERT_NO_FATAL_FAILURE(drain()) << "seed " << seed;
    EXPECT_EQ(differenceOf(expectedOnServer(), server_.tree), "") << "seed " << seed;
    ASSERT_NO_FATAL_FAILURE(check("after all, seed " + std::to_string(seed)));
    listSome();
    ASSERT_NO_FATAL_FAILURE(check("listed again, seed " + std::to_string(seed)));
  }
}

// Some editors lock by a link that leads nowhere.
TEST_F(LocalChangesModelTest, ALockThatIsALinkStaysHere) {
  begin(1);
  const auto lock = replica->create(at("s"), ".#file", {NodeKind::symlink, 0777, "user@machine.1"});
  ASSERT_TRUE(lock.has_value());
  const auto step = replica->beginStep(lock->node.inode);
  ASSERT_FALSE(step.has_value());
  EXPECT_EQ(step.error().why, LocalWait::Why::staysLocal);
  EXPECT_TRUE(replica->localChange(lock->node.inode)->staysLocal);
}

}  // namespace
}  // namespace zelto
