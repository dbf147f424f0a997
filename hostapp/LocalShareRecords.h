#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <sys/types.h>

#include "hostapp/BeneathFolder.h"
#include "hostapp/InotifyWatch.h"
#include "hostapp/ShareRecords.h"

namespace zelto {

// The texts of shares that are folders of this machine: a file in a hidden folder of the share. Whoever may
// write in the share may write there. The hidden folder is made for the first text.
class LocalShareRecords : public ShareRecords {
 public:
  explicit LocalShareRecords(BeneathFolder root) : root_(std::move(root)) {}
  ~LocalShareRecords() override { setChangeHandler({}); }
  LocalShareRecords(const LocalShareRecords&) = delete;
  LocalShareRecords& operator=(const LocalShareRecords&) = delete;

  std::string version(const std::string& share) override;
  std::expected<Text, NSError> read(const std::string& share) override;
  std::expected<std::unique_ptr<Lock>, NSError> lock(const std::string& share, Access access) override;
  void setChangeHandler(std::function<void(const std::string& share)> handler) override;

 private:
  // `records`: open on its hidden folder, or -1 while there is none.
  void watch(const std::string& share, int records);
  void onEvent(const FolderEvent& event);
  // ERRORS: errno values.
  std::expected<UniqueDescriptor, int> makeFolder(const std::string& share);

  const BeneathFolder root_;
  std::mutex mutex_;
  std::function<void(const std::string& share)> handler_;
  std::map<std::string, ino_t> watched_;  // by share: its hidden folder, or 0 while it has none
  std::unique_ptr<InotifyWatch> watch_;
};

}  // namespace zelto
