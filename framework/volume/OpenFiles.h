#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "framework/replica/ContentFile.h"
#include "framework/replica/Node.h"

namespace zelto {

class OpenFiles;

// A file that somebody has open: what all its handles share, also when its name is gone or leads to another
// version by now.
// THREAD: any. OWNER: the open handles together.
class OpenFile {
 public:
  OpenFile(OpenFiles& files, std::uint64_t kernelNode, const NodeInfo& node)
      : files_(files), kernelNode_(kernelNode), inode_(node.inode), node_(node) {}
  ~OpenFile();
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  std::uint64_t kernelNode() const { return kernelNode_; }
  Inode inode() const { return inode_; }

  // The bytes of the version that the kernel's node stands for, with what was written to them here.
  std::shared_ptr<ContentFile> content() const;
  void setContent(std::shared_ptr<ContentFile> content);

  // The node as last known, for when the replica does not know it any more; the size is the content's.
  NodeInfo node() const;
  void setNode(const NodeInfo& node);
  // The content was changed just now.
  void wrote();

 private:
  OpenFiles& files_;
  const std::uint64_t kernelNode_;
  const Inode inode_;
  mutable std::mutex mutex_;  // guards what is below
  NodeInfo node_;
  std::shared_ptr<ContentFile> content_;
};

// The open files, by the kernel's node.
// THREAD: any.
class OpenFiles {
 public:
  // The node's open file, made when this is its first handle; from now on with this content.
  std::shared_ptr<OpenFile> opened(std::uint64_t kernelNode, const NodeInfo& node,
                                   std::shared_ptr<ContentFile> content);
  // Null when nobody has it open.
  std::shared_ptr<OpenFile> find(std::uint64_t kernelNode) const;

 private:
  friend class OpenFile;
  void closed(std::uint64_t kernelNode);

  mutable std::mutex mutex_;
  std::unordered_map<std::uint64_t, std::weak_ptr<OpenFile>> files_;
};

}  // namespace zelto
