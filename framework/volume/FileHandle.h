#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "framework/fetching/ReadAhead.h"
#include "framework/replica/Replica.h"
#include "framework/volume/FuseLowLevel.h"
#include "framework/volume/OpenFiles.h"

namespace zelto {

// One opening of a file. What it reads is the content that all handles of the file share.
// THREAD: any. OWNER: the kernel's open file, through `fuse_file_info::fh`.
class FileHandle {
 public:
  // `writing`: what `Replica::beginWriting` gave, which ends with the handle; null for a reader.
  FileHandle(Replica& replica, std::shared_ptr<OpenFile> file, std::shared_ptr<ContentFile> writing)
      : replica_(replica), file_(std::move(file)), writing_(std::move(writing)) {}
  ~FileHandle() {
    if (writing_) replica_.endWriting(file_->inode(), *writing_);
  }
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  static FileHandle* of(const fuse_file_info* file) { return reinterpret_cast<FileHandle*>(file->fh); }

  std::shared_ptr<ContentFile> content() const { return file_->content(); }
  // What is written to; null for a reader.
  const std::shared_ptr<ContentFile>& writing() const { return writing_; }

  // What is written to was changed. REQUIRES: not a reader.
  void wrote() {
    file_->wrote();
    replica_.written(file_->inode(), *writing_);
  }

  // Instead of the content a reader is given these bytes. REQUIRES: not open yet.
  void show(std::string picture) { picture_ = std::move(picture); }
  const std::optional<std::string>& picture() const { return picture_; }

  // Notes a read and gives the bytes worth having behind it.
  std::uint64_t readAhead(NSRange read) {
    const std::lock_guard lock(mutex_);
    return readAhead_.next(read);
  }

 private:
  Replica& replica_;
  const std::shared_ptr<OpenFile> file_;
  const std::shared_ptr<ContentFile> writing_;
  std::optional<std::string> picture_;
  std::mutex mutex_;
  ReadAhead readAhead_;
};

}  // namespace zelto
