#include "tests/framework/TwoWriters.h"

#include <ctime>

namespace zelto::test {
namespace {

const std::string kShare = "share";

std::string textOf(const NSFileProviderItemVersion& version) {
  return std::string(version.contentVersion.text());
}

}  // namespace

TwoWriters::TwoWriters(unsigned seed, bool sameSizes) : seed_(seed), sameSizes_(sameSizes), random_(seed) {
  settings.sending.settleDown = settings.sending.settleAtMost = std::chrono::hours(1);
  settings.patience = std::chrono::hours(1);
  // The server's clock may go after ours.
  if (seed % 2 == 0) server.setClock(static_cast<double>(std::time(nullptr)) + 5);
  server.setDecision([this](const std::string& request) { return decide(request); });
}

std::string TwoWriters::newText(const std::string& writer) {
  std::string text = writer + std::to_string(1000 + ++texts_) + ".";
  if (!sameSizes_) text.append(texts_, '.');
  written_.insert(text);
  return text;
}

std::string TwoWriters::someName(bool folder) {
  static const std::vector<std::string> kFiles{"a", "b", "c.txt"}, kFolders{"x", "y"};
  return oneOf(folder != chance(5) ? kFolders : kFiles);
}

// ---- the program here

void TwoWriters::hereBelow(const std::string& path, NodeKind kind, std::vector<std::string>& paths) {
  const auto children = replica->children(at(path));
  if (!children) return;
  for (const Inode inode : *children) {
    const std::string child = path + "/" + replica->name(inode);
    const NodeKind its = replica->node(inode)->kind;
    if (its == kind) paths.push_back(child);
    if (its == NodeKind::folder) hereBelow(child, kind, paths);
  }
}

std::vector<std::string> TwoWriters::here(NodeKind kind) {
  std::vector<std::string> paths;
  hereBelow(kShare, kind, paths);
  std::ranges::sort(paths);
  return paths;
}

std::string TwoWriters::newPlaceHere(bool folder) {
  auto folders = here(NodeKind::folder);
  folders.push_back(kShare);
  return oneOf(folders) + "/" + someName(folder);
}

std::set<std::string> TwoWriters::seenIn(Inode inode) {
  std::set<std::string> texts;
  const auto change = replica->localChange(inode);
  if (change && (change->created || change->content) && mine_.contains(inode)) texts.insert(mine_[inode]);
  const auto version = replica->version(inode);
  if (!version) return texts;
  if (const auto known = versions_.find(textOf(*version)); known != versions_.end()) {
    texts.insert(known->second);
  }
  return texts;
}

void TwoWriters::put(Handle& handle, const std::string& text) {
  const Inode inode = handle.file->inode();
  if (mine_.contains(inode)) replaced_.insert(mine_[inode]);
  if (handle.unlinked) replaced_.insert(text);
  mine_[inode] = text;
  EXPECT_EQ(handle.file->resize(0), 0);
  writeTo(*handle.file, text);
}

void TwoWriters::openHere(const std::string& path) {
  const Inode known = at(path);
  const auto [folder, name] = split(path);
  Handle handle;
  if (known == 0) {
    auto created = replica->create(at(folder), name, {NodeKind::file, 0644, {}});
    if (!created) return;
    handle.file = created->content;
  } else {
    if (replica->node(known)->kind != NodeKind::file) return;
    const auto seen = seenIn(known);
    auto begun = replica->beginWriting(known, true);
    if (!begun) return;
    forget(seen);
    handle.file = *begun;
  }
  mine_[handle.file->inode()] = "";
  handles_.push_back(handle);
  note("open " + path + " inode " + std::to_string(handle.file->inode()));
}

void TwoWriters::writeOpen() {
  if (handles_.empty()) return;
  Handle& handle = handles_[below(handles_.size())];
  const auto text = newText("L");
  note("write to inode " + std::to_string(handle.file->inode()) + ": " + text);
  put(handle, text);
}

void TwoWriters::closeOne() {
  if (handles_.empty()) return;
  const auto which = handles_.begin() + static_cast<std::ptrdiff_t>(below(handles_.size()));
  note("close inode " + std::to_string(which->file->inode()));
  replica->endWriting(which->file->inode(), *which->file);
  handles_.erase(which);
}

void TwoWriters::closeAll() {
  while (!handles_.empty()) closeOne();
}

void TwoWriters::unlinkHandles(Inode inode) {
  for (Handle& handle : handles_) {
    if (handle.file->inode() == inode) handle.unlinked = true;
  }
}

// As a program does that writes a whole new file first.
void TwoWriters::saveHere(const std::string& path) {
  const std::string aside = split(path).first + "/saving";
  const std::size_t before = handles_.size();
  openHere(aside);
  if (handles_.size() == before) return;
  const auto text = newText("L");
  note("save " + text);
  put(handles_.back(), text);
  replica->endWriting(handles_.back().file->inode(), *handles_.back().file);
  handles_.pop_back();
  renameHere(aside, path);
}

// The content as the server has it now, as a download brings it.
bool TwoWriters::download(Inode inode) {
  const auto identifier = replica->identifier(inode);
  const auto item = server.item(identifier);
  if (item && item->documentSize()) replica->applyItem(inode, item);
  const auto file = replica->content(inode);
  if (!file) return false;
  if ((*file)->complete()) return true;
  const auto version = replica->version(inode);
  if (!item || !item->documentSize() || !version || textOf(*version) != textOf(*item->itemVersion())) {
    return false;
  }
  const auto text = server.tree().at(identifier);
  EXPECT_FALSE((*file)->takeOver(delivered(text).path(), {0, text.size()}));
  return (*file)->complete();
}

void TwoWriters::appendHere(const std::string& path) {
  const Inode inode = at(path);
  if (!download(inode)) return;
  auto seen = seenIn(inode);
  const auto file = replica->beginWriting(inode, false);
  if (!file) return;
  std::string before((*file)->size(), ' ');
  const auto count = ::pread((*file)->descriptor(), before.data(), before.size(), 0);
  EXPECT_EQ(count, static_cast<ssize_t>(before.size()));
  EXPECT_TRUE(before.empty() || seen.contains(before)) << path << " holds " << before;
  forget(seen);
  written_.insert(before + "+");
  mine_[inode] = before;
  Handle handle{*file};
  for (const Handle& each : handles_) handle.unlinked |= each.unlinked && each.file->inode() == inode;
  note("append to " + path + ": " + before);
  put(handle, before + "+");
  replica->endWriting(inode, **file);
}

void TwoWriters::renameHere(const std::string& from, const std::string& to) {
  const auto [folder, name] = split(to);
  const Inode target = at(to), source = at(from);
  const auto seen = target == 0 || target == source ? std::set<std::string>() : seenIn(target);
  const int code = replica->rename(source, at(folder), name, true);
  note("rename " + from + " " + to + " gives " + std::to_string(code));
  if (code != 0 || target == source) return;
  forget(seen);
  if (target != 0) unlinkHandles(target);
}

void TwoWriters::removeHere(const std::string& path) {
  const Inode inode = at(path);
  const auto seen = seenIn(inode);
  const int code = replica->remove(inode);
  note("remove " + path + " gives " + std::to_string(code));
  if (code != 0) return;
  forget(seen);
  unlinkHandles(inode);
}

void TwoWriters::removeTreeHere(const std::string& path) {
  const auto children = replica->children(at(path));
  if (children) {
    for (const Inode inode : *children) {
      const std::string child = path + "/" + replica->name(inode);
      replica->node(inode)->kind == NodeKind::folder ? removeTreeHere(child) : removeHere(child);
    }
  }
  removeHere(path);
}

void TwoWriters::operateHere() {
  const auto files = here(NodeKind::file), folders = here(NodeKind::folder);
  const auto what = below(100);
  if (what < 12) return openHere(newPlaceHere(false));
  if (what < 24) return writeOpen();
  if (what < 34) return closeOne();
  if (what < 46) return saveHere(newPlaceHere(false));
  if (what < 52) {
    const auto path = newPlaceHere(true);
    const auto [folder, name] = split(path);
    const bool made = replica->create(at(folder), name, {NodeKind::folder, 0755, {}}).has_value();
    return note("make folder " + path + (made ? "" : " in vain"));
  }
  if (what < 84 && !files.empty()) {
    const auto& path = oneOf(files);
    if (what < 58) return appendHere(path);
    if (what < 66) return openHere(path);
    if (what < 72) return removeHere(path);
    return renameHere(path, newPlaceHere(false));
  }
  if (folders.empty()) return;
  const auto& path = oneOf(folders);
  if (what < 88) return removeTreeHere(path);
  renameHere(path, newPlaceHere(true));
}

// ---- the other writer

std::vector<std::string> TwoWriters::there(bool folders) {
  std::vector<std::string> paths;
  for (const auto& [path, content] : server.tree()) {
    if ((content == "/") == folders) paths.push_back(path);
  }
  return paths;
}

void TwoWriters::putThere(const std::string& path) {
  const auto tree = server.tree();
  const auto known = tree.find(path);
  if (known != tree.end() && known->second == "/") return;
  if (known != tree.end()) replaced_.insert(known->second);
  const auto text = newText("O");
  note("        put " + path + " " + text);
  server.put(path, text);
}

void TwoWriters::eraseThere(const std::string& path) {
  for (const auto& [each, content] : server.tree()) {
    if (each == path || each.starts_with(path + "/")) replaced_.insert(content);
  }
  note("        erase " + path);
  server.erase(path);
}

void TwoWriters::renameThere(const std::string& from, const std::string& to) {
  const auto tree = server.tree();
  const auto known = tree.find(to);
  const bool folder = tree.at(from) == "/";
  if (to == from || to.starts_with(from + "/")) return;
  if (known != tree.end() && (folder || known->second == "/")) return;
  if (known != tree.end()) replaced_.insert(known->second);
  note("        rename " + from + " " + to);
  server.erase(from);
  for (const auto& [path, content] : tree) {
    if (path != from && !path.starts_with(from + "/")) continue;
    const std::string now = to + path.substr(from.size());
    content == "/" ? server.putFolder(now) : server.put(now, content);
  }
}

void TwoWriters::operateThere() {
  const auto files = there(false), folders = there(true);
  const auto what = below(100);
  const std::string newFile = oneOf(folders) + "/" + someName(false);
  const std::string newFolder = oneOf(folders) + "/" + someName(true);
  if (what < 25) {
    putThere(newFile);
  } else if (what < 55 && !files.empty()) {
    putThere(oneOf(files));
  } else if (what < 67 && !files.empty()) {
    eraseThere(oneOf(files));
  } else if (what < 80 && !files.empty()) {
    renameThere(oneOf(files), newFile);
  } else if (what < 90) {
    if (server.tree().contains(newFolder)) return;
    note("        make folder " + newFolder);
    server.putFolder(newFolder);
  } else if (const auto& folder = oneOf(folders); folder != "/" + kShare) {
    what < 95 ? eraseThere(folder) : renameThere(folder, newFolder);
  }
  noteVersions();
}

void TwoWriters::noteVersions() {
  for (const auto& [path, content] : server.tree()) {
    if (content != "/") versions_[textOf(*server.item(path)->itemVersion())] = content;
  }
}

}  // namespace zelto::test
