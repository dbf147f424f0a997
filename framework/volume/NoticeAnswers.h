#pragma once

#include "framework/volume/Volume.h"

namespace zelto {

// The requests by which our own thread raises events for programs that watch a folder (see Notices). What
// they ask for has been done already, so they are answered as if it were being done now, and nothing is
// changed; one that the replica does not agree with, any more or at all, is refused. None of them waits for
// anything. Each is false for everybody else's requests, which are not touched; else the request has been
// answered.
namespace notice {

bool lookup(fuse_req_t request, Inode parent, std::string_view name);
bool getattr(fuse_req_t request, fuse_ino_t node);
// A file, folder or link.
bool make(fuse_req_t request, Inode parent, std::string_view name);
bool remove(fuse_req_t request, Inode parent, std::string_view name);
bool rename(fuse_req_t request, const Place& from, const Place& to);
bool setattr(fuse_req_t request, fuse_ino_t node);

}  // namespace notice
}  // namespace zelto
