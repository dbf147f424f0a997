#pragma once

#include <functional>
#include <string>

#include "framework/replica/Replica.h"
#include "framework/volume/FuseLowLevel.h"

namespace zelto {

// Makes a node in a folder, which is listed first if it is not yet; `made` answers with what was made.
// ERRORS: answered to the request: `ifExists` when there is one of the name, what the server does not allow,
// a name that it cannot have.
using Made = std::move_only_function<void(fuse_req_t, const Replica::Created&)>;
void makeNode(fuse_req_t request, Inode folder, std::string name, NewNode what, int ifExists, Made made);

// Answers with the new node alone; a file is closed again.
void replyMade(fuse_req_t request, const Replica::Created& created);

}  // namespace zelto
