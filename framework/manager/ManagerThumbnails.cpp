#include "framework/manager/Answers.h"
#include "framework/manager/Manager.h"
#include "framework/thumbnails/ThumbnailItem.h"

namespace zelto {

void Manager::thumbnails(BusMethodCall call, BusReply reply) {
  Replica& replica = parts_.volume.replica();
  std::vector<ThumbnailItem> items;
  for (const BusBytes& path : std::get<std::vector<BusBytes>>(call.arguments[0])) {
    const auto node = knownNode(path.bytes);
    if (!node) continue;
    if (auto item = thumbnailItem(*node, replica.identifier(node->inode), path.bytes)) {
      items.push_back(*std::move(item));
    }
  }
  const bool any = !items.empty();
  parts_.thumbnails->ask(call.sender, std::move(items),
                         [reply = std::move(reply)]() mutable { reply(BusArguments{}); });
  // Afterwards: the watch tells at once of an asker that has left meanwhile.
  if (any) watchAsker(call.sender);
}

void Manager::watchAsker(const std::string& asker) {
  {
    const std::lock_guard lock(mutex_);
    if (!askers_.try_emplace(asker).second) return;
  }
  auto watch = bus_->watchName(asker, [this, asker](bool present) {
    if (!present) askerLeft(asker);
  });
  const std::lock_guard lock(mutex_);
  if (const auto at = askers_.find(asker); at != askers_.end()) at->second = std::move(watch);
}

void Manager::askerLeft(const std::string& asker) {
  parts_.thumbnails->askerGone(asker);
  std::shared_ptr<void> watch;  // ends without the lock
  const std::lock_guard lock(mutex_);
  const auto at = askers_.find(asker);
  if (at == askers_.end()) return;
  watch = std::move(at->second);
  askers_.erase(at);
}

void Manager::wantThumbnail(Inode inode) {
  Replica& replica = parts_.volume.replica();
  const auto node = replica.node(inode);
  if (!node) return;
  auto item = thumbnailItem(*node, replica.identifier(inode), pathOf(inode));
  if (item) parts_.thumbnails->ask("", {*std::move(item)}, [] {});
}

}  // namespace zelto
