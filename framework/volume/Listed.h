#pragma once

#include <string_view>

#include "framework/volume/KernelRequest.h"
#include "framework/volume/Volume.h"

namespace zelto {

// Runs an operation once the children of a folder are known; a request that has to wait for that is held.
// ERRORS: answered to the request: ENOENT, ENOTDIR (no such folder), and those of the listing.
void whenListed(fuse_req_t request, Inode folder, KernelRequest::Answer operation);

// A child of a listed folder. ERRORS: ENOENT.
std::expected<NodeInfo, int> childOf(Volume& volume, Inode folder, std::string_view name);

// Answers with what the replica said to a change, 0 or an errno value.
void replyChanged(fuse_req_t request, int code);

}  // namespace zelto
