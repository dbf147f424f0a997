#pragma once

#include <cstdint>
#include <optional>

#include "framework/replica/Node.h"

namespace zelto {

// The kernel keeps one page cache and one size per node number. So that bytes of two versions of a file
// never meet in it, a file whose content the server replaces goes on under a new node number: the replica's
// number with the count of its contents above it. Programs still see the replica's number; who has the old
// version open keeps the old node with its pages. A node's number and attributes come from one copy of the
// replica's node, or the old node would be told the new size.
namespace kernelnode {

// Room for the numbers given after a database was lost: they begin at the seconds since 1970, times 2^20.
inline constexpr unsigned kInodeBits = 52;

inline Inode inodeOf(std::uint64_t node) { return node & ((std::uint64_t{1} << kInodeBits) - 1); }

inline std::uint64_t nodeOf(Inode inode, std::uint32_t contentEpoch) {
  return inode | std::uint64_t{contentEpoch} << kInodeBits;  // begins anew after 4,096 contents
}
inline std::uint64_t nodeOf(const NodeInfo& info) { return nodeOf(info.inode, info.contentEpoch); }

// Whether the kernel's node stands for the content that the replica has now.
inline bool isCurrent(std::uint64_t node, const std::optional<NodeInfo>& now) {
  return now && nodeOf(*now) == node;
}

}  // namespace kernelnode
}  // namespace zelto
