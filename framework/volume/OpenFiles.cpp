#include "framework/volume/OpenFiles.h"

#include "framework/volume/Now.h"

namespace zelto {

OpenFile::~OpenFile() { files_.closed(kernelNode_); }

std::shared_ptr<ContentFile> OpenFile::content() const {
  const std::lock_guard lock(mutex_);
  return content_;
}

void OpenFile::setContent(std::shared_ptr<ContentFile> content) {
  {
    const std::lock_guard lock(mutex_);
    content_.swap(content);
  }
  // Whoever was the last holder of the former one closes it here, without the lock.
}

NodeInfo OpenFile::node() const {
  const std::lock_guard lock(mutex_);
  NodeInfo node = node_;
  node.size = content_->size();
  return node;
}

void OpenFile::setNode(const NodeInfo& node) {
  const std::lock_guard lock(mutex_);
  node_ = node;
}

void OpenFile::wrote() {
  const std::int64_t now = nanosecondsNow();
  const std::lock_guard lock(mutex_);
  node_.modifiedNs = now;
}

std::shared_ptr<OpenFile> OpenFiles::opened(std::uint64_t kernelNode, const NodeInfo& node,
                                            std::shared_ptr<ContentFile> content) {
  std::shared_ptr<OpenFile> file;
  {
    const std::lock_guard lock(mutex_);
    std::weak_ptr<OpenFile>& known = files_[kernelNode];
    file = known.lock();
    if (!file) known = file = std::make_shared<OpenFile>(*this, kernelNode, node);
  }
  file->setContent(std::move(content));
  return file;
}

std::shared_ptr<OpenFile> OpenFiles::find(std::uint64_t kernelNode) const {
  const std::lock_guard lock(mutex_);
  const auto it = files_.find(kernelNode);
  return it == files_.end() ? nullptr : it->second.lock();
}

void OpenFiles::closed(std::uint64_t kernelNode) {
  const std::lock_guard lock(mutex_);
  const auto it = files_.find(kernelNode);
  // It may have been opened anew in the meantime.
  if (it != files_.end() && it->second.expired()) files_.erase(it);
}

}  // namespace zelto
