#pragma once

#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "framework/listing/Lister.h"
#include "framework/propagation/ExportedFile.h"
#include "framework/propagation/ExtensionRequest.h"
#include "framework/propagation/LocalItem.h"
#include "framework/replica/Replica.h"
#include "platform/fileprovider/NSFileProviderReplicatedExtension.h"

namespace zelto {

// What became of one step.
struct StepResult {
  enum class Kind : std::uint8_t {
    settled,      // the server took it, or need not any more
    again,        // things turned out to stand differently: the next step is another one
    failed,       // not now
    interrupted,  // by the host's end, or because it was given up here
  };
  Kind kind = Kind::settled;
  std::optional<NSError> error = {};                // of a failure
  std::optional<std::uint64_t> takenRevision = {};  // of the content, where one was settled
};

// What the steps work with. OWNER: the propagator, which outlives them.
struct StepParts {
  NSFileProviderPrincipal& extension;
  Replica& replica;
  Lister& lister;
  ExtensionRequest::Ways ways;
  std::shared_ptr<DispatchQueue> comparing;  // reads whole files
  std::string exportDirectory;
  std::function<void(const ReplicaDelta&)> changed;
  // Somebody else changed the same: the path, and what was done about it.
  std::function<void(const std::string& path, const std::string& message)> conflict;
  std::function<void(Inode, std::int64_t completed, std::int64_t total)> progressed;
  std::function<std::tm()> localTime;
};

// Carries one step out: asks the extension, looks at what the server has where something may have changed
// there, and keeps both versions when it has. Ends once; the replica knows of the outcome by then.
// THREAD: the propagator's queue. OWNER: the propagator, until it ends.
class StepRun : public std::enable_shared_from_this<StepRun> {
 public:
  using Done = std::move_only_function<void(StepResult)>;

  static std::shared_ptr<StepRun> make(std::shared_ptr<const StepParts> parts, LocalStep step, Done done);
  StepRun(std::shared_ptr<const StepParts> parts, LocalStep step, Done done)
      : parts_(std::move(parts)), step_(std::move(step)), done_(std::move(done)) {}
  virtual ~StepRun() = default;

  virtual void start() = 0;
  // Ends it as interrupted; a later answer is not taken.
  void abort();
  const LocalStep& step() const { return step_; }

 protected:
  // What the server has in a place.
  struct Look {
    enum class What : std::uint8_t { found, gone, unknown };
    What what = What::unknown;
    NSFileProviderItemPtr item;    // found
    std::optional<NSError> error;  // unknown
  };
  using LookThen = std::move_only_function<void(Look)>;
  struct Comparison {
    bool same = false;
    NSFileProviderItemPtr item;    // that the bytes are of
    std::optional<NSError> error;  // it could not be made
  };
  using ComparisonThen = std::move_only_function<void(Comparison)>;

  // ---- questions; each goes on with `then` on the queue, or the step fails for want of an answer
  // A file, by fetching a byte of it.
  void look(const std::string& identifier, LookThen then);
  // Anything; lists the folder around it.
  void find(const std::string& identifier, LookThen then);
  // Whether a file on the server is what was sent of it before. A creation's has a date that proves nothing:
  // it is known by its bytes.
  void checkSentBefore(const std::string& identifier, const NSFileProviderItemPtr& item, ComparisonThen then);
  // Whether a file on the server has the bytes that are here now; they are noted in the step.
  void compare(const std::string& identifier, ComparisonThen then);
  void listFolder(const std::string& identifier,
                  std::move_only_function<void(std::vector<NSFileProviderItemPtr>, std::optional<NSError>)>);
  // A handler for the next request, to be followed by `follow` with what the request returned.
  template <typename... Answer>
  Completion<Answer...> expect(std::type_identity_t<std::move_only_function<void(Answer...)>> then) {
    renewRequest();
    return request_->handler<Answer...>(
        [weak = weak_from_this(), then = std::move(then)](Answer... answer) mutable {
          const auto self = weak.lock();
          if (self && self->done_) then(std::move(answer)...);
        });
  }
  void follow(const std::shared_ptr<NSProgress>& progress);

  // Puts the content into the group directory. False: the step has failed.
  bool exportContent();
  std::optional<NSURL> exported() const;
  std::shared_ptr<LocalItem> itemOf(const std::string& identifier) const;
  NSFileProviderItemPtr templateItem() const;

  // ---- ends
  void settle(const NSFileProviderItemPtr& item);
  void fail(const std::optional<NSError>& error);
  // Likewise, and the server is certain not to have taken the step.
  void refuse(const std::optional<NSError>& error);
  // What was sent before has come to nothing: the next step is another one.
  void forgetAttempt();
  // The server has what was sent before; what was written since is sent next.
  void settleAsSentBefore(const NSFileProviderItemPtr& item);
  // The server lost the item, or the folder that it stands in.
  void serverLost(Inode inode);
  // The folder around it may be gone: it is made anew then. Else the step has failed with the error.
  void failOrRemakeParent(const NSError& error);
  // Another item stands on the server in its place (null: it is found by listing): the local one steps aside.
  void keepBoth(const NSFileProviderItemPtr& serverItem);
  // The removal is not carried out; the item shows again.
  void giveUpRemoval(const NSFileProviderItemPtr& serverItem, const std::string& why);

  bool isVersionOfStep(const NSFileProviderItemPtr& item) const;
  // By size, and by date where that tells.
  bool looksSentBefore(const NSFileProviderItemPtr& item) const;
  // Whether it is the step's symbolic link, or the empty file that keeps its place on the server.
  bool isLinkOfStep(const NSFileProviderItemPtr& item) const;
  void listFolderAgain(Inode folder);

  const std::shared_ptr<const StepParts> parts_;
  LocalStep step_;

 private:
  void renewRequest();
  void unanswered();
  void end(StepResult result);
  void apply(const ReplicaDelta& delta);
  // The folder of the root that an item stands in; the item itself; 0 where that is not known.
  Inode topAbove(Inode inode) const;
  void lostForGood(Inode inode);
  std::string path() const;
  // Has a file's content delivered, for one of the two below to look at and remove.
  using Judgement = void (StepRun::*)(const std::string& deliveredPath, const NSFileProviderItemPtr& item,
                                      ComparisonThen then);
  void judge(const std::string& identifier, Judgement judgement, ComparisonThen then);
  void checkDigest(const std::string& deliveredPath, const NSFileProviderItemPtr& item, ComparisonThen then);
  void compareWith(const std::string& deliveredPath, const NSFileProviderItemPtr& item, ComparisonThen then);

  Done done_;  // empty once it has ended
  std::shared_ptr<ExtensionRequest> request_;
  std::optional<ExportedFile> exported_;
};

}  // namespace zelto
