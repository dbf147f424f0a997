#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "framework/replica/LocalChange.h"

namespace zelto {

// How long a change rests before it is sent, and how much is sent at a time.
struct SendSettings {
  using Milliseconds = std::chrono::milliseconds;

  // So long after the last change of an item …
  Milliseconds settleDown{400};
  // … but not longer than this after the first.
  Milliseconds settleAtMost{5'000};
  // While programs change one thing after another, less than this apart, nothing is sent: they have the
  // machine to themselves, and what they make and remove again in one go is never sent …
  Milliseconds busyPause{150};
  // … but not longer than this.
  Milliseconds busyAtMost{2'000};
  // A file that a program keeps open is sent as it is so long after its last change.
  Milliseconds openAtMost{15'000};
  // The pause after the first failure; each further one doubles it.
  Milliseconds firstPause{1'000};
  Milliseconds longestPause{60'000};
  // So many failures in a row of a kind that may pass are told as a failure.
  unsigned patientFailures = 3;
  // In flight at once.
  unsigned steps = 8;
  unsigned uploads = 4;
  // The extension works through them one by one, each with a listing.
  unsigned metadata = 1;
};

// When each local change is sent: keeps changes resting, knows who waits for whom, keeps pauses after
// failures, and gives out what may be sent in the order of age. Book-keeping only: it is told the time and
// asks nobody.
// THREAD: guarded by its owner's lock.
class SendQueue {
 public:
  using Time = std::chrono::steady_clock::time_point;

  enum class Lane : std::uint8_t { uploads, others, metadata };
  enum class State : std::uint8_t {
    settling,  // rests
    ready,     // is sent as soon as there is room
    sending,
    writing,  // a program has it open
    open,     // likewise, but the server has all that was written so far
    parked,   // after the change of another item
    pausing,  // failed, perhaps for the moment
    failed,   // likewise, but somebody should look at it; is tried again all the same
    local,    // stays here
  };

  struct Item {
    State state = State::settling;
    Lane lane = Lane::others;
    std::uint64_t order = 0;                      // by age
    Time first, last;                             // of the changes since it was last taken
    Time due;                                     // where it waits for a time
    std::chrono::system_clock::time_point since;  // of the first change
    bool changedMeanwhile = false;                // while it was being sent
    bool evenIfOpen = false;
    bool atOnce = false;  // also when a program is at work on it
    Inode another = 0;    // parked for it
    unsigned attempts = 0;
    unsigned bounces = 0;  // how often in a row it was parked for nothing
    std::string reason;    // of the last failure
  };
  struct Taken {
    Inode inode;
    bool evenIfOpen;
    bool atOnce;
  };

  explicit SendQueue(const SendSettings& settings) : settings_(settings) {}

  // A node has a new or further change.
  void changed(Inode inode, Time now);
  // A change of an earlier run: it has rested long enough.
  void add(Inode inode, Time now);

  // What has become ready since the last call; it is to be told its lane.
  std::vector<Inode> due(Time now);
  void setLane(Inode inode, Lane lane);
  // The oldest change that there is room for; it counts as being sent.
  std::optional<Taken> take();

  // ---- what became of one that was taken
  void settled(Inode inode, Time now);
  void waiting(Inode inode, const LocalWait& wait, Time now);
  // Open, and written to so long ago: it is sent as it is when that has become long enough.
  void stillWriting(Inode inode, std::chrono::milliseconds ago, Time now);
  // Open, but there is nothing new in it.
  void stillOpen(Inode inode, Time now);
  // `mayPass`: trying again soon may help.
  void failed(Inode inode, Time now, std::string reason, bool mayPass);
  // Through no fault of its own: it is taken again.
  void interrupted(Inode inode, Time now);

  // ---- for those who cannot wait
  // Lets everything go that only rests or pauses, also what programs have open.
  void flush(Time now);
  // False for one that is not known.
  bool retry(Inode inode, Time now);
  void retryAll(Time now);

  // When something becomes due next.
  std::optional<Time> nextDue() const;
  const Item* find(Inode inode) const;
  // All of them, oldest first.
  std::vector<Inode> inodes() const;
  std::size_t count(State state) const { return counts_[static_cast<std::size_t>(state)]; }
  std::size_t size() const { return items_.size(); }
  // What may still be sent without anybody's doing.
  std::size_t active() const;
  // Whether it waits, perhaps over others, for one that stays local.
  bool staysLocal(const Item& item) const;

 private:
  static constexpr std::size_t kStates = 9;
  static constexpr std::size_t kLanes = 3;

  Item& itemFor(Inode inode, Time first);
  void enter(Inode inode, Item& item, State state);
  void enterTimed(Inode inode, Item& item, State state, Time due);
  void leave(Inode inode, Item& item);
  void settle(Inode inode, Item& item, Time now);
  void erase(Inode inode);
  void park(Inode inode, Inode another, Time now);
  bool waitsFor(Inode inode, Inode other) const;
  void lookAgain(Inode inode, Time now);
  // Those who waited for it look again.
  void unpark(Inode another, Time now, bool forNothing);
  Time restsUntil(const Item& item) const;
  // Until then everything rests.
  Time busyUntil() const;
  std::chrono::milliseconds pause(unsigned attempts) const;
  bool hasRoom(Lane lane) const;

  const SendSettings settings_;
  std::unordered_map<Inode, Item> items_;
  std::set<std::pair<Time, Inode>> timed_;  // settling, writing, pausing, failed
  std::array<std::map<std::uint64_t, Inode>, kLanes> ready_;
  std::unordered_map<Inode, std::set<Inode>> parked_;  // by the one they wait for
  std::array<unsigned, kLanes> sending_{};
  std::array<std::size_t, kStates> counts_{};
  std::uint64_t nextOrder_ = 1;
  Time busySince_, lastChange_;
};

}  // namespace zelto
