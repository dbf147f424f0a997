#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "hostapp/HostStore.h"
#include "hostapp/KnownFolders.h"
#include "hostapp/ServerBackend.h"

namespace zelto {

// One changed item of the server and where it has been shown.
struct PathChange {
  std::string path;
  ChangeKind kind;
  std::vector<std::string> views;
};

// Finds out what changes on the server in every folder that has been listed: events of the backend are
// gathered for a moment, then the entries concerned are compared with what was reported last. Folders are
// remembered in the store, and what changed while nobody looked is found at the next start. Folders that
// cannot be watched are looked at once an interval.
// THREAD: any. The handler and the log run on the watcher's thread, with no lock held.
class FolderWatcher {
 public:
  using Changed = std::function<void(std::vector<PathChange>)>;
  using Log = std::function<void(const std::string&)>;

  FolderWatcher(std::shared_ptr<ServerBackend> backend, std::shared_ptr<HostStore> store, Changed changed,
                Log log, std::chrono::milliseconds lookInterval = std::chrono::seconds(30));
  ~FolderWatcher() { stop(); }
  FolderWatcher(const FolderWatcher&) = delete;
  FolderWatcher& operator=(const FolderWatcher&) = delete;

  // Takes up the folders of the last run and looks for what has changed in them since.
  void start();
  // BLOCKS: until that first look is done, at most for `limit`: whoever connects after it is told of the
  // changes at once.
  void waitForFirstLook(std::chrono::milliseconds limit);
  // Ends the thread and stores what is left to store. From then on nothing is done.
  // REQUIRES: nobody lists meanwhile.
  void stop();

  // A listing is announced before the folder is read, and ends with what was read. What happens in
  // between is not lost. A folder listed for the first time is on disk when `finishListing` returns:
  // a host that is killed after its answer knows at its next start what the extension has seen.
  struct Listing {
    std::string folder;
    std::string view;
    std::uint64_t number = 0;
    bool watched = false;  // from before the folder was read
  };
  Listing beginListing(const std::string& folder, const std::string& view);
  void finishListing(const Listing& listing, const std::expected<BackendListing, NSError>& found);

  // Watches a folder for the sake of an entry that is shown elsewhere. BLOCKS: on the server.
  void watchUnlisted(const std::string& folder);

  // Compares a folder, or every known one, with the server now.
  void rescan(const std::string& folder);
  void rescanAll();
  void dropView(const std::string& view);

  // This host itself takes an entry away, at the extension's wish. What it looked like just before, and when:
  // only if nothing else has become of it meanwhile is its going not reported.
  struct OwnRemoval {
    std::string path;
    EntryStat before;
    std::timespec lookedAt{};
  };
  void removed(OwnRemoval removal);
  // This host itself gives a folder another path: `move` does it, between two looks on the watcher's thread,
  // and tells whether it did. What is known at and below the old path is then known below the new one.
  void moveFolder(OwnRemoval from, const std::string& to, std::move_only_function<bool()> move);

  struct Counts {
    std::size_t folders = 0;
    std::size_t unwatched = 0;
    std::uint64_t scans = 0;  // folders read in full
  };
  Counts counts();

 private:
  using Clock = std::chrono::steady_clock;
  // A folder as it was listed.
  struct Seen {
    std::uint64_t inode;
    FolderSnapshot snapshot;
  };
  struct Dirty {
    bool all = false;
    std::set<std::string> names;
  };

  void onEvent(FolderEvent event);
  void remember(const Listing& listing, const Seen& seen);
  void post(std::move_only_function<void()> task);

  void run();
  bool waitForWork();
  void takeWork();
  Clock::time_point nextDeadline() const;
  void markDirty(const std::string& folder, const std::string& name);
  void markAllDirty();
  void processDirty();
  void processFolder(const std::string& folder, const Dirty& dirty, std::vector<PathChange>& changes);
  void scan(const std::string& folder, KnownFolder& known, std::vector<PathChange>& changes);
  void compareNames(const std::string& folder, KnownFolder& known, const Dirty& dirty,
                    std::vector<PathChange>& changes);
  void failed(const std::string& folder, const NSError& error, std::vector<PathChange>& changes);
  void report(const std::string& folder, const KnownFolder& known, std::vector<NamedChange> found,
              std::vector<PathChange>& changes);
  void forget(const std::string& folder);
  void watchFolder(const std::string& folder, KnownFolder& known);
  void takeUp(std::vector<StoredFolder> stored);
  static std::expected<Seen, NSError> seenIn(const std::string& folder,
                                             const std::expected<BackendListing, NSError>& found);
  void observed(const Listing& listing, std::expected<Seen, NSError> seen);
  void observedFirst(const Listing& listing, Seen seen);
  void observedAgain(const Listing& listing, KnownFolder& known, FolderSnapshot seen);
  void forgetRemoved(const OwnRemoval& removal);
  void moveKnown(const std::string& from, const std::string& to);
  void deliver(std::vector<PathChange> changes);
  void markForSaving(const std::string& folder, std::size_t size);
  void save();

  const std::shared_ptr<ServerBackend> backend_;
  const std::shared_ptr<HostStore> store_;
  const Changed changed_;
  const Log log_;
  const std::chrono::milliseconds lookInterval_;

  std::mutex mutex_;
  std::condition_variable wake_;
  std::vector<FolderEvent> events_;
  std::deque<std::move_only_function<void()>> tasks_;
  std::unordered_map<std::string, int> listingsUnderWay_;
  std::unordered_set<std::string> stored_;  // the folders that the store knows
  std::uint64_t lastListing_ = 0;
  bool stopping_ = false;
  bool looked_ = false;  // the first look is done
  Counts counts_;

  // The thread's own.
  KnownFolders known_;
  std::map<std::string, Dirty> dirty_;
  Clock::time_point firstDirty_;
  Clock::time_point lastDirty_;
  Clock::time_point nextLook_ = Clock::time_point::max();
  Clock::time_point saveAt_ = Clock::time_point::max();
  std::set<std::string> toSave_;
  bool complained_ = false;
  std::thread thread_;
};

}  // namespace zelto
