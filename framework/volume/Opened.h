#pragma once

#include <memory>

#include "framework/volume/FileHandle.h"
#include "framework/volume/Volume.h"

namespace zelto {

// Answers that a file is open. With `writing` the content is open for writing and is closed with the handle,
// also when the kernel does not take the answer any more.
void replyOpened(fuse_req_t request, fuse_ino_t node, std::shared_ptr<ContentFile> content,
                 fuse_file_info file, bool writing);

// The same for a reader who is given a picture of the file instead of its content, past the kernel's pages.
void replyOpenedPicture(fuse_req_t request, fuse_ino_t node, std::shared_ptr<ContentFile> content,
                        fuse_file_info file, std::string picture);

// The same for a file that was made just now; its content is open for writing.
void replyCreated(fuse_req_t request, const Replica::Created& created, fuse_file_info file);

}  // namespace zelto
