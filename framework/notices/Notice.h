#pragma once

#include <optional>
#include <string>
#include <vector>

#include "framework/replica/Node.h"

namespace zelto {

// A name in a folder.
struct Place {
  Inode folder = 0;
  std::string name;

  bool operator==(const Place&) const = default;
};

// One event to raise. What it tells of has happened in the replica already.
struct Notice {
  enum class Kind : std::uint8_t {
    hello,  // no event: is this our folder?
    appeared,
    gone,
    moved,
    content,
    attributes
  };

  Kind kind = Kind::hello;
  NodeKind node = NodeKind::file;  // of what appeared, went or was moved
  Inode inode = 0;
  Place place;  // where it stands, or stood
  Place from;   // moved: where it stood
};

// Notices in one folder; a move from another folder is alone in its round.
struct NoticeRound {
  Inode folder = 0;
  std::string path;
  Inode fromFolder = 0;  // 0: none but `folder`
  std::string fromPath;
  std::vector<Notice> notices;
};

}  // namespace zelto
