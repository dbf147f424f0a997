#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "framework/requests/Deadlines.h"
#include "framework/thumbnails/ThumbnailBacklog.h"
#include "framework/thumbnails/ThumbnailCache.h"
#include "framework/thumbnails/ThumbnailItem.h"
#include "platform/fileprovider/NSFileProviderThumbnailing.h"
#include "platform/foundation/DispatchQueue.h"

namespace zelto {

// Has pictures of files made by the extension and puts them into the user's thumbnail cache. So many at a
// time, what was asked for last first, each file once however often it is asked for; while no host is present
// all of it waits.
// THREAD: any; returns at once. The work is done on a queue of its own, where `stored` and completions run.
class ThumbnailQueue : public std::enable_shared_from_this<ThumbnailQueue> {
 public:
  struct Parts {
    NSFileProviderThumbnailing& extension;
    Deadlines& deadlines;
    ThumbnailCache cache{};
    std::function<void(Inode)> stored;  // a picture of this file has been written
    // Of an asker of whom it is not told that he has left. Called on the queue.
    std::function<bool(const std::string& asker)> isThere = [](const std::string&) { return true; };
  };
  struct Limits {
    std::size_t onTheirWay = 8;    // the extension sends everything of a request at once
    std::size_t waiting = 20'000;  // beyond, the oldest are given up
    // For each answer to a request. After a silent one the host is asked for a single item; is there no
    // answer to that one either, everything is given up.
    std::chrono::milliseconds patience = std::chrono::minutes(1);
  };

  // OWNER: extension and deadlines outlive it, and so does what `stored` uses.
  static std::shared_ptr<ThumbnailQueue> make(Parts parts, const Limits& limits);

  // REQUIRES: items as `thumbnailItem` makes them.
  // COMPLETES: once, when each item has its picture or gets none: it is there already, there is none, it was
  // given up, the asker is gone. Without a host perhaps much later. Destroyed uncalled with this object.
  void ask(std::string asker, std::vector<ThumbnailItem> items, Completion<> done);
  // The picture itself, as a PNG file; nothing where there is none to be had.
  using PictureHandler = Completion<std::optional<std::string>>;
  enum class Interest {
    own,       // it is asked for
    somebodys  // only if somebody else has asked for it, or it is there
  };
  // REQUIRES, COMPLETES: as `ask`.
  void picture(std::string asker, ThumbnailItem item, Interest interest, PictureHandler done);
  // What only this asker wants is not asked for any more.
  void askerGone(std::string asker);

  void hostReady();
  // What is on its way is asked for again when there is a host.
  void hostLost();

  // Files that are gone: so are their pictures.
  void remove(std::vector<std::string> paths);

 private:
  struct Request {
    std::map<Inode, ThumbnailItem> open;
    Deadlines::Ticket deadline = 0;
  };

  ThumbnailQueue(Parts parts, const Limits& limits);

  // All of these on the queue.
  void add(const std::string& asker, std::vector<ThumbnailItem> items, Completion<> done);
  void addOne(const std::string& asker, const ThumbnailItem& item, Interest interest, PictureHandler done);
  void lose();
  void advance();
  void send(const std::vector<ThumbnailItem>& items);
  void arrived(std::uint64_t request, const ThumbnailItem& item, const std::optional<NSData>& image);
  // False for one that nobody waits for any more.
  bool takeOut(std::uint64_t request, Inode inode);
  bool store(const ThumbnailItem& item, const NSData& image);
  void giveUp(std::uint64_t request);
  void expire(std::uint64_t request);
  static void call(ThumbnailBacklog::Answers answers);

  template <typename Task>
  void run(Task task);
  NSFileProviderThumbnailHandler handlerFor(std::uint64_t request, const std::vector<ThumbnailItem>& items);
  void watch(std::uint64_t request);

  const Parts parts_;
  const Limits limits_;
  ThumbnailBacklog backlog_;
  std::map<std::uint64_t, Request> requests_;
  std::size_t onTheirWay_ = 0;
  std::uint64_t lastRequest_ = 0;
  bool hostPresent_ = false;
  bool silent_ = false;
  std::uint64_t probe_ = 0;  // the last request that was to find out whether the host answers again
  DispatchQueue queue_{"it.pellam.Zelto.FileProvider.thumbnails"};
};

}  // namespace zelto
