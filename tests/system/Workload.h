#pragma once

#include <atomic>
#include <expected>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tests/system/TestSystem.h"

namespace zelto::test {

// Paths relative to some folder; a folder has no content.
using FileTree = std::map<std::string, std::optional<std::string>>;

// Everything below a folder, or what of it cannot be read.
std::expected<FileTree, std::string> readFileTree(const fs::path& top);
// In words, one line for each difference; "" for none.
std::string differenceOf(const FileTree& expected, const FileTree& actual);
// Gives a node with all below it another path.
void movePath(FileTree& tree, const std::string& from, const std::string& to);

// A program at work below one folder: random, and the same for the same seed. It knows what was acknowledged
// to it. An operation that fails because something was killed may have come through to a part: once
// everything can be read again, it must be one of the states that the operation passes through, with all
// else untouched.
class Workload {
 public:
  // `disturbances` counts what excuses an operation that fails, odd while something is amiss.
  Workload(fs::path top, unsigned seed, const std::atomic<unsigned>& disturbances)
      : top_(std::move(top)), random_(seed), disturbances_(disturbances) {}

  // One operation. "" or what is wrong.
  std::string operate();
  // Everything below the folder as it must be.
  const FileTree& tree() const { return tree_; }
  unsigned operations() const { return operations_; }
  unsigned failures() const { return failures_; }
  std::string last() const { return last_; }

 private:
  struct Doubt {
    std::vector<FileTree> states;  // that the operation passes through
    std::string path;              // of whose content a beginning may have been written …
    std::string content;
    std::string over;         // … over this: a process that is killed stops between two pages of a call
    std::size_t atLeast = 0;  // the beginning is at least as long
  };

  std::size_t below(std::size_t limit) { return random_() % limit; }
  std::string anyPath();
  std::string anyFile();
  std::string newContent(std::size_t most);

  // Each gives 0 or an errno value.
  int write(const std::string& path, const std::string& content);
  int writeChunks(int file, const std::string& content);
  int overwritePart();
  int saveOver();
  int move(const std::string& from, const std::string& to);
  int moveSome();
  int remove();
  int makeFolder();
  int choose();
  std::string recover(int code);
  bool explains(const FileTree& actual);
  bool isPartlyWritten(const std::string& actual) const;

  const fs::path top_;
  std::mt19937 random_;
  const std::atomic<unsigned>& disturbances_;
  FileTree tree_;
  Doubt doubt_;
  std::string last_;
  unsigned stamp_ = 0, operations_ = 0, failures_ = 0;
};

}  // namespace zelto::test
