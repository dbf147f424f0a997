#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "framework/propagation/SendQueue.h"
#include "framework/propagation/StepRun.h"

namespace zelto {

// A local change that the server has not taken, for people.
struct PendingChange {
  enum class State : std::uint8_t { pending, uploading, waiting, failed, local, current };

  LocalChangeInfo info;
  State state = State::pending;
  std::string reason;  // of the last failure, or what it waits for
  std::int64_t completed = 0, total = 0;
  unsigned attempts = 0;  // that failed
  std::chrono::system_clock::time_point since;
};

// Brings local changes to the server through the extension: each when it has rested, several at a time, one
// step of an item after the other; for ever, until the server has taken it. Nothing is dropped but by
// `cancel`. THREAD: any; the work is done on a queue of its own. OWNER: by shared pointer, since answers may
// come late. `close` comes before the end of what it works with.
class Propagator : public std::enable_shared_from_this<Propagator> {
 public:
  struct Settings {
    SendSettings sending;
    // So long without an answer or progress, and a request counts as failed.
    std::chrono::milliseconds patience{60'000};
    // Counts and progress are told this far apart.
    std::chrono::milliseconds noticePause{250};
  };
  struct Counts {
    std::size_t pending = 0, uploading = 0, failed = 0, local = 0;
    std::uint64_t conflicts = 0;  // since the start

    friend bool operator==(const Counts&, const Counts&) = default;
  };
  // Run on any thread, with no lock held.
  struct Observers {
    std::function<void(const ReplicaDelta&)> changed;
    std::function<void(const Counts&)> countsChanged;
    std::function<void(const std::string& path, std::int64_t completed, std::int64_t total)> progress;
    std::function<void(const std::string& path, const std::string& message)> conflict;
  };
  struct Parts {
    NSFileProviderPrincipal& extension;
    Replica& replica;
    Lister& lister;
    Deadlines& deadlines;
    std::string exportDirectory;  // on the replica's volume; the extension moves files out of it
  };

  static std::shared_ptr<Propagator> make(const Parts& parts, Observers observers, const Settings& settings);
  ~Propagator();

  // Takes the changes of earlier runs and hears of new ones from here on. REQUIRES: before the first change.
  void start();
  // The host's changes are in: sends what waits.
  void hostReady();
  // What is in flight is not waited for; it is sent again.
  void hostLost();
  // Ends all work. BLOCKS: until what runs just now has ended.
  void close();

  // Everything that only rests is sent at once.
  void flushNow();
  // COMPLETES: once nothing is left that would be sent now or soon, with what has failed.
  void waitUntilDone(Completion<std::vector<PendingChange>> completion);
  // Tries a failed change again now. False when there is no change of this node.
  bool retry(Inode inode);
  void retryAll();
  // Gives a change up. COMPLETES: with 0 or an errno value (ENOENT: there is none), on the queue.
  void cancel(Inode inode, Completion<int> completion);

  Counts counts() const;
  // Oldest first, at most so many.
  std::vector<PendingChange> pending(std::size_t most) const;
  // In one word and perhaps a reason: "current", "pending", "uploading", "failed: …", "local".
  std::string stateText(const NodeInfo& node) const;

  // BLOCKS: until the work that is to be done at the moment is done, for tests. REQUIRES: not on the queue.
  void drain();

 private:
  struct Progress {
    std::int64_t completed = 0, total = 0;
    SendQueue::Time told;
  };

  Propagator(const Parts& parts, Observers observers, const Settings& settings);
  std::shared_ptr<const StepParts> stepParts(const Parts& parts);

  void changed(Inode inode);
  // Has the queue look what is to be done.
  void wake();
  void pump();
  void sortIn(const std::vector<Inode>& ready);
  void begin(const SendQueue::Taken& taken);
  void run(LocalStep step);
  // Why there is nothing to send at the moment.
  void wait(Inode inode, const LocalWait& why);
  // How long ago a file was last written to.
  std::chrono::milliseconds quietFor(Inode inode) const;
  bool isTakenAsItIs(Inode inode);
  void ended(Inode inode, StepResult result);
  void note(Inode inode, StepResult& result);
  void armTimer();
  void progressed(Inode inode, std::int64_t completed, std::int64_t total);
  void conflict(const std::string& path, const std::string& message);
  void cancelNow(Inode inode, Completion<int> completion);
  void listAgain(Inode folder, const std::string& identifier);
  void abortAll();
  void tellCountsSoon();
  void tellCounts();
  void answerWaiters();
  Counts countsLocked() const;
  PendingChange describe(Inode inode) const;
  static PendingChange::State stateOf(const SendQueue& sending, const SendQueue::Item& item);

  const Settings settings_;
  const Observers observers_;
  Replica& replica_;
  Lister& lister_;
  Deadlines& deadlines_;
  const std::shared_ptr<DispatchQueue> queue_;
  std::shared_ptr<const StepParts> stepParts_;

  // On the queue alone.
  std::unordered_map<Inode, std::shared_ptr<StepRun>> runs_;
  std::unordered_map<Inode, std::uint64_t> takenWhileOpen_;  // content revisions that the server has

  mutable std::mutex mutex_;  // guards what follows
  SendQueue sending_;
  std::unordered_map<Inode, Progress> progress_;
  std::vector<Completion<std::vector<PendingChange>>> waiters_;
  bool hostPresent_ = false;
  bool closed_ = false;
  bool pumpQueued_ = false;
  bool noticeDue_ = false;
  Counts told_;
  std::uint64_t conflicts_ = 0;
  std::optional<SendQueue::Time> armedFor_;
  Deadlines::Ticket timer_ = 0;
};

}  // namespace zelto
