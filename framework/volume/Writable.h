#pragma once

#include <functional>
#include <memory>

#include "framework/replica/ContentFile.h"
#include "framework/volume/FuseLowLevel.h"

namespace zelto {

// Opens a file's content for writing: `Replica::beginWriting`, after bringing here what is missing of it
// unless it is to be emptied anyway; the request is held meanwhile. `then` sees to `Replica::endWriting`.
// ERRORS: answered to the request: ESTALE, so that the kernel looks the name up again, where the node is not
// of the present version; EACCES; those of fetching and of the disk.
using WritableContent = std::move_only_function<void(fuse_req_t, std::shared_ptr<ContentFile>)>;
void whenWritable(fuse_req_t request, fuse_ino_t node, bool truncate, WritableContent then);

}  // namespace zelto
