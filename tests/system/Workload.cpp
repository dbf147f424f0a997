#include "tests/system/Workload.h"

#include <algorithm>
#include <ranges>
#include <string_view>
#include <tuple>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zelto::test {
namespace {

constexpr std::size_t kSmall = 20'000, kLarge = 6 << 20, kChunk = 128 << 10;  // bytes
constexpr std::chrono::seconds kPatience{60};

bool isBelow(const std::string& path, const std::string& folder) {
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

bool readInto(const fs::path& folder, const std::string& prefix, FileTree& tree, std::string& trouble) {
  std::error_code error;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    const std::string path = prefix + at->path().filename().string();
    const auto type = at->symlink_status(error).type();
    if (error) return false;
    if (type == fs::file_type::directory) {
      tree[path] = std::nullopt;
      if (!readInto(at->path(), path + "/", tree, trouble)) return false;
      continue;
    }
    std::string content = readFile(at->path());
    if (content.starts_with("errno ")) {
      trouble = path + ": " + content;
      return false;
    }
    tree[path] = std::move(content);
  }
  if (error) trouble = prefix + ": " + error.message();
  return !error;
}

std::string inWords(const std::optional<std::string>& content) {
  if (!content) return "a folder";
  return fmt::format("{} bytes \"{}\"", content->size(), content->substr(0, 24));
}

std::string whereTheyDiffer(const std::string& a, const std::string& b) {
  const auto first = std::ranges::mismatch(a, b).in1 - a.begin();
  const auto last =
      std::ranges::mismatch(a | std::views::reverse, b | std::views::reverse).in1.base() - a.begin();
  return fmt::format(", from byte {} to byte {}", first, last);
}

}  // namespace

std::expected<FileTree, std::string> readFileTree(const fs::path& top) {
  FileTree tree;
  std::string trouble;
  if (!readInto(top, "", tree, trouble)) return std::unexpected(trouble);
  return tree;
}

std::string differenceOf(const FileTree& expected, const FileTree& actual) {
  std::string text;
  for (const auto& [path, content] : expected) {
    const auto at = actual.find(path);
    if (at == actual.end()) {
      text += fmt::format("missing {} ({})\n", path, inWords(content));
    } else if (at->second != content) {
      text += fmt::format("{} is {}, not {}{}\n", path, inWords(at->second), inWords(content),
                          at->second && content ? whereTheyDiffer(*at->second, *content) : "");
    }
  }
  for (const auto& [path, content] : actual) {
    if (!expected.contains(path)) text += fmt::format("unexpected {} ({})\n", path, inWords(content));
  }
  return text;
}

void movePath(FileTree& tree, const std::string& from, const std::string& to) {
  FileTree moved;
  for (const auto& [path, content] : tree) {
    if (path == from || isBelow(path, from)) moved[to + path.substr(from.size())] = content;
  }
  std::erase_if(tree, [&](const auto& each) { return each.first == from || isBelow(each.first, from); });
  tree.merge(moved);
}

// ---- what there is to work with

std::string Workload::anyPath() {
  std::vector<std::string> folders{""};
  for (const auto& [path, content] : tree_) {
    if (!content) folders.push_back(path + "/");
  }
  return folders[below(folders.size())] + "file " + std::to_string(below(12));
}

std::string Workload::anyFile() {
  std::vector<std::string> files;
  for (const auto& [path, content] : tree_) {
    if (content) files.push_back(path);
  }
  return files.empty() ? "" : files[below(files.size())];
}

// No two are the same, and no two chunks of one.
std::string Workload::newContent(std::size_t most) {
  const std::size_t size = below(most);
  const std::string head = fmt::format("content {} ", ++stamp_);
  std::string content;
  while (content.size() <= size) content += head + std::to_string(content.size()) + " ";
  return content;
}

// ---- operations

int Workload::writeChunks(int file, const std::string& content) {
  const std::size_t half = content.size() / 2;
  const bool syncs = below(3) == 0;
  for (std::size_t at = 0; at < content.size();) {
    const std::size_t limit = at < half ? half : content.size();
    const ssize_t count = ::write(file, content.data() + at, std::min(kChunk, limit - at));
    if (count < 0) return errno;
    at += static_cast<std::size_t>(count);
    if (at != half || !syncs) continue;
    if (::fsync(file) != 0) return errno;
    doubt_.states.clear();
    doubt_.atLeast = half;
  }
  return 0;
}

int Workload::write(const std::string& path, const std::string& content) {
  last_ = fmt::format("write {} ({})", path, inWords(content));
  doubt_ = {{tree_}, path, content, "", 0};
  tree_[path] = content;
  const int file = ::open((top_ / path).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (file < 0) return errno;
  const int code = writeChunks(file, content);
  const int closing = ::close(file) == 0 ? 0 : errno;
  return code != 0 ? code : closing;
}

int Workload::overwritePart() {
  const std::string path = anyFile();
  if (path.empty()) return 0;
  last_ = "overwrite a part of " + path;
  std::string& content = *tree_[path];
  doubt_ = {{tree_}, path, "", content, 0};
  const std::string part = newContent(3000);
  const std::size_t at = below(content.size() + 1);
  content.replace(at, std::min(part.size(), content.size() - at), part);
  doubt_.content = content;
  const int file = ::open((top_ / path).c_str(), O_RDWR | O_CLOEXEC);
  if (file < 0) return errno;
  int code = 0;
  if (::pwrite(file, part.data(), part.size(), static_cast<off_t>(at)) < 0) code = errno;
  const int closing = ::close(file) == 0 ? 0 : errno;
  return code != 0 ? code : closing;
}

int Workload::move(const std::string& from, const std::string& to) {
  last_ += fmt::format("; move {} to {}", from, to);
  doubt_ = {{tree_}, "", "", "", 0};
  tree_.erase(to);
  movePath(tree_, from, to);
  return ::rename((top_ / from).c_str(), (top_ / to).c_str()) == 0 ? 0 : errno;
}

// As programs save: a new file beside the old one, renamed over it.
int Workload::saveOver() {
  const std::string path = anyPath();
  const std::string beside = path + ".new";
  if (tree_.contains(path) && !tree_.at(path)) return 0;
  if (const int code = write(beside, newContent(kSmall))) return code;
  return move(beside, path);
}

int Workload::moveSome() {
  last_.clear();
  std::vector<std::string> folders;
  for (const auto& [path, content] : tree_) {
    if (!content) folders.push_back(path);
  }
  if (!folders.empty() && below(3) == 0) {
    const std::string& from = folders[below(folders.size())];
    const std::string to = "folder " + std::to_string(below(6));
    return from == to || tree_.contains(to) || isBelow(to, from) ? 0 : move(from, to);
  }
  const std::string from = anyFile();
  const std::string to = anyPath();
  return from.empty() || from == to ? 0 : move(from, to);
}

int Workload::remove() {
  const std::string path = anyFile();
  if (path.empty()) return 0;
  last_ = "remove " + path;
  doubt_ = {{tree_}, "", "", "", 0};
  tree_.erase(path);
  return ::unlink((top_ / path).c_str()) == 0 ? 0 : errno;
}

int Workload::makeFolder() {
  const std::string path = "folder " + std::to_string(below(6));
  if (tree_.contains(path)) return 0;
  last_ = "make " + path;
  doubt_ = {{tree_}, "", "", "", 0};
  tree_[path] = std::nullopt;
  return ::mkdir((top_ / path).c_str(), 0755) == 0 ? 0 : errno;
}

int Workload::choose() {
  switch (below(12)) {
    case 0:
      return makeFolder();
    case 1:
      return remove();
    case 2:
    case 3:
      return moveSome();
    case 4:
      return saveOver();
    case 5:
    case 6:
      return overwritePart();
    case 7:
      return below(6) == 0 ? write(anyPath(), newContent(kLarge)) : 0;
    default:
      return write(anyPath(), newContent(kSmall));
  }
}

// ---- after a failure

std::string Workload::operate() {
  ++operations_;
  const unsigned before = disturbances_;
  const int code = choose();
  if (code == 0) return "";
  ++failures_;
  if (before % 2 == 0 && disturbances_ == before) {
    return fmt::format("{}: errno {} with nothing amiss", last_, code);
  }
  return recover(code);
}

bool Workload::isPartlyWritten(const std::string& actual) const {
  const auto& [wanted, over] = std::tie(doubt_.content, doubt_.over);
  const auto differs = std::ranges::mismatch(actual, wanted).in1;
  const auto written = static_cast<std::size_t>(differs - actual.begin());
  const std::string_view behind = written < over.size() ? std::string_view(over).substr(written) : "";
  return written >= doubt_.atLeast && std::string_view(actual).substr(written) == behind;
}

bool Workload::explains(const FileTree& actual) {
  doubt_.states.push_back(tree_);
  const auto written = actual.find(doubt_.path);
  if (!doubt_.path.empty() && written != actual.end() && written->second &&
      isPartlyWritten(*written->second)) {
    doubt_.states.push_back(tree_);
    doubt_.states.back()[doubt_.path] = written->second;
  }
  return std::ranges::find(doubt_.states, actual) != doubt_.states.end();
}

std::string Workload::recover(int code) {
  std::expected<FileTree, std::string> actual;
  if (!eventually([&] { return (actual = readFileTree(top_)).has_value(); }, kPatience)) {
    return fmt::format("after {} (errno {}) cannot be read: {}", last_, code, actual.error());
  }
  if (!explains(*actual)) {
    return fmt::format("after {} (errno {}):\n{}", last_, code, differenceOf(tree_, *actual));
  }
  tree_ = *std::move(actual);
  return "";
}

}  // namespace zelto::test
