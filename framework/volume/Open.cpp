#include <cerrno>

#include <fcntl.h>

#include "framework/requests/Errno.h"
#include "framework/volume/BackgroundReaders.h"
#include "framework/volume/Opened.h"
#include "framework/volume/Writable.h"

namespace zelto {
namespace {

// A small file comes here before its open is answered: if it is another version by then, the kernel can
// still look the name up again without the program noticing.
bool fetchBeforeOpen(const ContentFile& content) {
  return content.size() <= FileFetch::kWholeFileLimit && !content.covers({0, content.size()});
}

BackgroundReader readerOf(fuse_req_t request, const ContentFile& content, int flags) {
  if (content.covers({0, content.size()})) return BackgroundReader::none;
  return backgroundReader(flags, fuse_req_ctx(request)->pid);
}

// EIO: other errors make file browsers try again, or tell their user.
constexpr int kRefused = EIO;
// How long a program that makes pictures waits for the host's; the browser that started it goes on meanwhile.
constexpr std::chrono::seconds kPatience{5};

// Somebody who makes pictures is given the host's instead of the content.
void openPicture(fuse_req_t request, fuse_ino_t node, std::shared_ptr<ContentFile> content,
                 const fuse_file_info& file) {
  Volume& volume = volume::of(request);
  const auto picture = std::make_shared<std::string>();
  const pid_t reader = fuse_req_ctx(request)->pid;
  const auto held = volume.kernelRequests().hold(
      request, [node, content = std::move(content), file, picture](fuse_req_t answered) {
        replyOpenedPicture(answered, node, content, file, std::move(*picture));
      });
  volume.deadlines().schedule(Deadlines::Clock::now() + kPatience, [weak = std::weak_ptr(held)] {
    if (const auto waiting = weak.lock()) waiting->done(kRefused);
  });
  volume.fetchPicture(kernelnode::inodeOf(node), reader, [held, picture](std::optional<std::string> png) {
    if (!png) return held->done(kRefused);
    *picture = *std::move(png);
    held->done(0);
  });
}

void openInBackground(fuse_req_t request, fuse_ino_t node, std::shared_ptr<ContentFile> content,
                      const fuse_file_info& file, BackgroundReader reader) {
  Volume& volume = volume::of(request);
  if (reader == BackgroundReader::ofNames) {
    return replyOpened(request, node, std::move(content), file, false);
  }
  if (reader == BackgroundReader::ofPictures && volume.link().present()) {
    return openPicture(request, node, std::move(content), file);
  }
  if (reader != BackgroundReader::ofEverything) {  // it is there when somebody looks again
    volume.fetchPicture(kernelnode::inodeOf(node), fuse_req_ctx(request)->pid, [](const auto&) {});
  }
  fuse_reply_err(request, kRefused);
}

void openForWriting(fuse_req_t request, fuse_ino_t node, const fuse_file_info& file) {
  const bool truncate = (file.flags & O_TRUNC) != 0;
  whenWritable(request, node, truncate,
               [node, file](fuse_req_t answered, std::shared_ptr<ContentFile> content) {
                 replyOpened(answered, node, std::move(content), file, true);
               });
}

}  // namespace

void volume::open(fuse_req_t request, fuse_ino_t node, fuse_file_info* file) {
  Volume& volume = of(request);
  if ((file->flags & O_ACCMODE) != O_RDONLY || (file->flags & O_TRUNC) != 0) {
    return openForWriting(request, node, *file);
  }
  const Inode inode = kernelnode::inodeOf(node);
  auto content = volume.replica().content(inode);
  // Looked at after the content: what is the node's then was so when the content was taken.
  const auto info = volume.replica().node(inode);
  if (!info || !content || !kernelnode::isCurrent(node, info)) {
    fuse_reply_err(request, !info ? ENOENT : !content ? errnoForError(content.error()) : ESTALE);
    return;
  }
  const BackgroundReader reader = readerOf(request, **content, file->flags);
  if (reader != BackgroundReader::none) return openInBackground(request, node, *content, *file, reader);
  if (!fetchBeforeOpen(**content)) {
    replyOpened(request, node, *content, *file, false);
    return volume.walkAhead().openedFile(*info, false);
  }
  const NSRange whole{0, (*content)->size()};
  auto held =
      volume.kernelRequests().hold(request, [node, content = *content, opened = *file](fuse_req_t answered) {
        replyOpened(answered, node, content, opened, false);
      });
  volume.materialiser().ensure(*content, whole, 0, std::move(held));
  volume.walkAhead().openedFile(*info, true);
}

void volume::release(fuse_req_t request, fuse_ino_t, fuse_file_info* file) {
  delete FileHandle::of(file);
  fuse_reply_err(request, 0);
}

}  // namespace zelto
