#pragma once

#include <memory>
#include <optional>

#include "hostapp/HiddenPlaces.h"
#include "hostapp/LocalPlace.h"
#include "hostapp/TemporaryName.h"

namespace zelto {

// One file on its way into a folder of shares. A source on the same volume is moved there, any other is
// copied under a temporary name; content, attributes and date are complete before the file gets
// its name, in one rename.
class LocalUpload : public BackendWork {
 public:
  static std::expected<std::unique_ptr<BackendWork>, NSError> begin(LocalPlace place,
                                                                    const UploadRequest& request,
                                                                    HiddenPlaces& hidden);

  std::expected<bool, NSError> step() override;
  Amount amount() const override { return {copied_, size_}; }
  std::optional<BackendEntry> result() const override { return result_; }

 private:
  enum class Phase { copy, settle, show };

  LocalUpload(LocalPlace place, UploadRequest request, HiddenPlaces& hidden)
      : place_(std::move(place)), request_(std::move(request)), hidden_(hidden) {}
  int openSource();
  int checkTarget() const;
  bool canMoveSource() const;
  int makeCopy();
  int copyPiece();
  int settle();
  bool isAnotherThanSeen() const;
  void noteRenamed();
  int show();

  const LocalPlace place_;
  const UploadRequest request_;
  HiddenPlaces& hidden_;
  UniqueDescriptor source_;
  std::optional<TemporaryEntry> copy_;  // else the source itself is moved
  Phase phase_ = Phase::settle;
  bool shown_ = false;
  std::uint64_t size_ = 0;
  std::uint64_t copied_ = 0;
  std::optional<BackendEntry> result_;
};

}  // namespace zelto
