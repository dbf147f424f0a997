#pragma once

#include <random>
#include <string>
#include <vector>

#include "SimulatedServer.h"

namespace zelto {

// Random work of a program on the tree below "/s", the same for the same seed: on a model of the tree, and on
// a replica where there is one.
class LocalWork {
 public:
  explicit LocalWork(unsigned seed) : random_(seed) {}

  std::string last;
  Tree model{{"/s", std::nullopt}};
  std::vector<Tree> between;  // what the last operation passed through

  // One operation. "" or what the replica said against it.
  std::string work(Replica* replica) {
    const std::string path = anyFolder() + "/" + kNames[below(std::size(kNames))];
    const bool there = model.contains(path);
    last = path + (there ? " there" : " new");
    between.clear();
    switch (below(8)) {
      case 0:
        return there ? "" : makeFolder(replica, path);
      case 1:
      case 2:
        return there ? rewrite(replica, path) : makeFile(replica, path);
      case 3:
        return there ? append(replica, path) : "";
      case 4:
        return there ? remove(replica, path) : "";
      case 5:
        return saveOver(replica, path);
      default:
        return there ? rename(replica, path, anyFolder() + "/" + kNames[below(std::size(kNames))]) : "";
    }
  }

  std::size_t below(std::size_t limit) { return random_() % limit; }

  static Inode inodeAt(Replica& replica, const std::string& path) {
    return replica.inodeForRelativePath(path).value_or(0);
  }

 private:
  static constexpr const char* kNames[] = {"a", "b", "c", "d", "e~"};

  std::string anyFolder() {
    std::vector<std::string> folders;
    for (const auto& [path, bytes] : model) {
      if (!bytes) folders.push_back(path);
    }
    return folders[below(folders.size())];
  }

  void becomes(const std::string& path, const std::string& bytes) {
    model[path] = bytes;
    between.push_back(model);
  }

  std::string newBytes() { return "bytes " + std::to_string(++stamp_) + std::string(below(50), '.'); }

  bool isFolder(const std::string& path) const { return model.contains(path) && !model.at(path); }
  bool hasChildren(const std::string& path) const {
    const auto next = model.upper_bound(path + "/");
    return next != model.end() && isBelowPath(next->first, path);
  }

  static std::string said(int code) { return code == 0 ? "" : "errno " + std::to_string(code); }

  static std::string write(Replica& replica, Inode inode, ContentFile& content, std::uint64_t offset,
                           const std::string& bytes) {
    const auto done = content.write(offset, [&](int descriptor) -> ContentFile::WriteResult {
      const ssize_t count = ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
      if (count < 0) return std::unexpected(errno);
      return static_cast<std::size_t>(count);
    });
    replica.written(inode, content);
    return done ? "" : said(done.error());
  }

  std::string makeFolder(Replica* replica, const std::string& path) {
    model[path] = std::nullopt;
    return replica == nullptr ? "" : made(*replica, path, NodeKind::folder, "");
  }

  std::string makeFile(Replica* replica, const std::string& path) {
    const std::string bytes = newBytes();
    becomes(path, "");
    becomes(path, bytes);
    return replica == nullptr ? "" : made(*replica, path, NodeKind::file, bytes);
  }

  std::string made(Replica& replica, const std::string& path, NodeKind kind, const std::string& bytes) {
    auto created = replica.create(inodeAt(replica, parentPath(path)), path.substr(path.rfind('/') + 1),
                                  {kind, 0644, ""});
    if (!created) return path + ": " + said(created.error());
    if (kind != NodeKind::file) return "";
    const Inode inode = created->node.inode;
    const std::string failure = write(replica, inode, *created->content, 0, bytes);
    replica.endWriting(inode, *created->content);
    return failure;
  }

  std::string rewrite(Replica* replica, const std::string& path) {
    if (!model.at(path)) return "";
    const std::string bytes = newBytes();
    becomes(path, "");
    becomes(path, bytes);
    return replica == nullptr ? "" : written(*replica, path, 0, bytes, true);
  }

  std::string append(Replica* replica, const std::string& path) {
    if (!model.at(path)) return "";
    const std::string bytes = newBytes();
    const std::uint64_t end = model.at(path)->size();
    *model.at(path) += bytes;
    return replica == nullptr ? "" : written(*replica, path, end, bytes, false);
  }

  std::string written(Replica& replica, const std::string& path, std::uint64_t offset,
                      const std::string& bytes, bool truncate) {
    const Inode inode = inodeAt(replica, path);
    const auto content = replica.beginWriting(inode, truncate);
    if (!content) return path + ": " + said(content.error());
    const std::string failure = write(replica, inode, **content, offset, bytes);
    replica.endWriting(inode, **content);
    return failure;
  }

  std::string remove(Replica* replica, const std::string& path) {
    last += " remove";
    if (hasChildren(path)) return "";
    model.erase(path);
    return replica == nullptr ? "" : said(replica->remove(inodeAt(*replica, path)));
  }

  std::string rename(Replica* replica, const std::string& from, const std::string& to) {
    last += " rename " + from + " " + to;
    if (from == to || isBelowPath(to, from) || isBelowPath(from, to)) return "";
    if (model.contains(to) && (isFolder(from) != isFolder(to) || hasChildren(to))) return "";
    model.erase(to);
    movePath(model, from, to);
    if (replica == nullptr) return "";
    const int code = replica->rename(inodeAt(*replica, from), inodeAt(*replica, parentPath(to)),
                                     to.substr(to.rfind('/') + 1), true);
    return code == 0 ? "" : from + " to " + to + ": " + said(code);
  }

  // As programs save: a new file beside the old one, renamed over it.
  std::string saveOver(Replica* replica, const std::string& path) {
    if (isFolder(path)) return "";
    const std::string beside = path + ".new";
    std::string failure = makeFile(replica, beside);
    return failure.empty() ? rename(replica, beside, path) : failure;
  }

  std::mt19937 random_;
  int stamp_ = 0;
};

}  // namespace zelto
