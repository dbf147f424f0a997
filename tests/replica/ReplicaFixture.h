#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include "FakeItem.h"
#include "framework/replica/Replica.h"

namespace zelto {

inline std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

// A replica in a directory of its own, to be opened, closed and opened again.
class ReplicaFixture : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "replica-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    top = pattern;
    directory = top + "/replica";
  }
  void TearDown() override {
    replica.reset();
    std::filesystem::remove_all(top);
  }

  void open() {
    replica.reset();
    auto opened = Replica::open(directory, options);
    ASSERT_TRUE(opened.has_value()) << opened.error().localizedDescription();
    replica = std::move(*opened);
  }

  Inode at(const std::string& path) { return replica->inodeForRelativePath(path).value_or(0); }

  // The root with folders a (file, deep/inner) and b, as most cases begin.
  void listSmallTree() {
    replica->applyListing(kRootInode, {fakeFolder("", "a"), fakeFolder("", "b"), fakeFile("", "top")});
    replica->applyListing(at("a"), {fakeFile("/a", "file"), fakeFolder("/a", "deep")});
    replica->applyListing(at("a/deep"), {fakeFile("/a/deep", "inner")});
    replica->applyListing(at("b"), {});
  }

  std::string delivered(const std::string& bytes) {
    const std::string path = top + "/delivered" + std::to_string(++deliveries_);
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }

  std::shared_ptr<ContentFile> content(Inode inode) {
    auto file = replica->content(inode);
    return file ? *file : nullptr;
  }

  // Materialises a file as a whole with bytes of its size.
  void materialise(Inode inode, char byte) {
    const auto file = content(inode);
    ASSERT_NE(file, nullptr);
    const auto failure = file->takeOver(delivered(std::string(file->size(), byte)), {0, file->size()});
    ASSERT_FALSE(failure.has_value()) << failure->localizedDescription();
  }

  static std::string bytesOf(const ContentFile& file) {
    std::string bytes(file.size(), '?');
    const ssize_t got = ::pread(file.descriptor(), bytes.data(), bytes.size(), 0);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return bytes;
  }

  std::size_t contentFilesOnDisk() const {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory + "/content")) {
      if (entry.is_regular_file()) ++count;
    }
    return count;
  }

  std::string top, directory;
  ReplicaOptions options;
  std::unique_ptr<Replica> replica;

 private:
  int deliveries_ = 0;
};

}  // namespace zelto
