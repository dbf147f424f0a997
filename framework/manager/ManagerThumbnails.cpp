#include "framework/manager/Answers.h"
#include "framework/manager/AskingProcess.h"
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
  if (any) askers_.add(call.sender);
}

void Manager::fetchPicture(Inode inode, pid_t reader, Volume::PictureHandler done) {
  Replica& replica = parts_.volume.replica();
  const auto node = replica.node(inode);
  auto item = node ? thumbnailItem(*node, replica.identifier(inode), pathOf(inode)) : std::nullopt;
  if (!item) return done(std::nullopt);
  const pid_t process = processOf(reader);
  using Interest = ThumbnailQueue::Interest;
  parts_.thumbnails->picture(askerForProcess(process), *std::move(item),
                             askers_.isIn(process) ? Interest::somebodys : Interest::own, std::move(done));
}

}  // namespace zelto
