#pragma once

#include <memory>
#include <mutex>

#include "framework/fetching/ReadAhead.h"
#include "framework/replica/ContentFile.h"
#include "framework/volume/FuseLowLevel.h"

namespace zelto {

// An open file: the content of the version that it was opened at, for as long as it is open.
// THREAD: any. OWNER: the kernel's open file, through `fuse_file_info::fh`.
class FileHandle {
 public:
  FileHandle(const NodeInfo& node, std::shared_ptr<ContentFile> content)
      : node_(node), content_(std::move(content)) {}

  static FileHandle* of(const fuse_file_info* file) { return reinterpret_cast<FileHandle*>(file->fh); }

  // The item as it was when the file was opened.
  const NodeInfo& node() const { return node_; }
  const std::shared_ptr<ContentFile>& content() const { return content_; }

  // Notes a read and gives the bytes worth having behind it.
  std::uint64_t readAhead(NSRange read) {
    const std::lock_guard lock(mutex_);
    return readAhead_.next(read);
  }

 private:
  const NodeInfo node_;
  const std::shared_ptr<ContentFile> content_;
  std::mutex mutex_;
  ReadAhead readAhead_;
};

}  // namespace zelto
