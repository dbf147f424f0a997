#pragma once

#include <unordered_map>

#include "desktop/core/DomainWatch.h"
#include "desktop/core/InfoRows.h"

namespace zelto::desktop {

// What a file browser is told by itself. THREAD: the main context's.
class DesktopListener {
 public:
  virtual ~DesktopListener() = default;
  // Another thing is known of these items, or, for no paths, something that was not known at all before.
  virtual void statesChanged(const std::vector<std::string>& paths) = 0;
  // Items on and below this path belong to a manager that was not there before, or is there no more.
  virtual void treeChanged(const std::string& mountPoint) = 0;
};

// All that the file browsers' plug-ins want of the managers there are. With none it does nothing.
// THREAD: the main context's, with the listener's calls on the same. BLOCKS: never.
class Desktop {
 public:
  explicit Desktop(DesktopListener& listener);
  // Whoever still waits is answered with null.
  ~Desktop();

  // What is known of an item now: null where there is nothing to know; nothing where it is to be asked for.
  // A state is valid until the main context runs.
  std::optional<const ItemState*> known(const std::string& path);
  // COMPLETES: once, after this has returned, unless it is cancelled before.
  // REQUIRES: known() has just given nothing for it.
  RequestId ask(const std::string& path, StateCompletion completion);
  void cancel(RequestId request);

  // An item is on show: what is known of it is kept up to date, and a picture gets its thumbnail.
  // As often as that, it has to be said that it is no more.
  void observe(const std::string& path);
  void unobserve(const std::string& path);

  // The actions for these items together, in the order for a menu. Nothing when the state of one is not
  // known yet; it is asked for, and statesChanged tells that it is there.
  std::optional<std::vector<Action>> offered(const std::vector<std::string>& paths);
  // Has an action carried out. A failure is shown to the user.
  void perform(const Action& action, const std::vector<std::string>& paths);
  // What there is to show of the item beside its usual properties; empty when nothing is known.
  std::vector<InfoRow> rows(const std::string& path, bool isFolder);

 private:
  struct Waiting {
    std::string path;
    StateCompletion completion;
  };
  void appeared(Domain& domain);
  void settled();
  void pass(RequestId request, const std::string& path, StateCompletion completion);

  DesktopListener& listener_;
  ObjectPointer<GCancellable> cancellable_;
  RequestId lastRequest_ = 0;
  std::map<RequestId, Waiting> early_;  // while it is not known which domains there are
  std::unordered_map<std::string, std::size_t> observed_;
  DomainWatch watch_;
};

}  // namespace zelto::desktop
