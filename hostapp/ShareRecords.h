#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/NSError.h"

namespace zelto {

// One text for each share, kept with it, so that all hosts which serve the share have it in common. It is
// never listed. THREAD: any. BLOCKS: on the server.
class ShareRecords {
 public:
  virtual ~ShareRecords() = default;

  // Another one after every change, and cheap to ask for; "" where there is no text. The share is watched
  // from then on.
  virtual std::string version(const std::string& share) = 0;

  struct Text {
    std::string version;
    std::string text;
  };
  // As it was left by one `replace`. ERRORS: the server's; a text of more than 8 MiB.
  virtual std::expected<Text, NSError> read(const std::string& share) = 0;

  // Held by one host, or shared by several, until destroyed.
  class Lock {
   public:
    virtual ~Lock() = default;
    // Shows in one step, and is on disk on return. REQUIRES: exclusive.
    virtual std::optional<NSError> replace(const std::string& text) = 0;
  };
  enum class Access { shared, exclusive };
  // Null for shared access to a share that never had a text. BLOCKS: while others hold it, at most two
  // seconds. ERRORS: those of `writeError`; EBUSY.
  virtual std::expected<std::unique_ptr<Lock>, NSError> lock(const std::string& share, Access access) = 0;

  // Told of a share whose text has changed, or may have, on a thread of its own; an empty handler ends that.
  virtual void setChangeHandler(std::function<void(const std::string& share)> handler) = 0;
};

}  // namespace zelto
