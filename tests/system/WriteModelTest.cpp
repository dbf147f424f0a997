#include <array>
#include <map>
#include <random>

#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/UniqueDescriptor.h"
#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

// One operation with everything that it is about, the same for the disk and the mount.
struct Step {
  int kind, slot, flags;
  const char *name, *other;
  mode_t mode;
  off_t offset;
  std::string bytes;
};

class Steps {
 public:
  explicit Steps(unsigned seed) : random_(seed) {}

  Step next(int kinds) {
    static constexpr std::array kNames{"a", "b", "c", "d", "d/x", "d/y", "e", "e/z", "d/e", "d/e/q"};
    static constexpr std::array kFlags{O_RDWR | O_CREAT, O_RDWR, O_RDWR | O_CREAT | O_EXCL, O_RDWR | O_TRUNC};
    static constexpr std::array kModes{mode_t{0600}, mode_t{0644}, mode_t{0750}};
    Step step{below(kinds),        below(3),
              kFlags[one(kFlags)], kNames[one(kNames)],
              kNames[one(kNames)], kModes[one(kModes)],
              below(200'000),      std::string(one(bytes_) + 1, 'a')};
    for (std::size_t i = 0; i < step.bytes.size(); i += 97) step.bytes[i] = static_cast<char>(below(256));
    return step;
  }

 private:
  int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
  std::size_t one(const auto& values) { return random_() % values.size(); }

  std::mt19937 random_;
  const std::string bytes_ = std::string(100'000, ' ');
};

// Carries steps out below one folder. Each gives in words what a program sees of it.
class Side {
 public:
  explicit Side(fs::path top) : top_(std::move(top)) {}

  using Operation = std::string (Side::*)(const Step&);
  static const std::vector<Operation>& operations() {
    static const std::vector<Operation> all{
        &Side::write,   &Side::read,       &Side::truncate, &Side::mkdir,     &Side::unlink,
        &Side::rmdir,   &Side::rename,     &Side::rename,   &Side::list,      &Side::stat,
        &Side::symlink, &Side::openHandle, &Side::writeBy,  &Side::readBy,    &Side::truncateBy,
        &Side::close,   &Side::chmod,      &Side::write,    &Side::openHandle};
    return all;
  }

  std::string run(const Step& step) {
    const Operation operation = operations()[static_cast<std::size_t>(step.kind)];
    return (this->*operation)(step) + handle(step);
  }

 private:
  static std::string told(long result) {
    return result < 0 ? fmt::format("errno {}", errno) : fmt::to_string(result);
  }
  std::string path(const char* name) const { return (top_ / name).string(); }
  UniqueDescriptor opened(const Step& step) const {
    return UniqueDescriptor(::open(path(step.name).c_str(), step.flags | O_CLOEXEC, step.mode));
  }

  std::string write(const Step& step) {
    const UniqueDescriptor file = opened(step);
    return file ? told(::pwrite(file.get(), step.bytes.data(), step.bytes.size(), step.offset)) : told(-1);
  }
  std::string read(const Step& step) { return readFile(path(step.name)); }
  std::string truncate(const Step& step) { return told(::truncate(path(step.name).c_str(), step.offset)); }
  std::string mkdir(const Step& step) { return told(::mkdir(path(step.name).c_str(), step.mode)); }
  std::string unlink(const Step& step) { return told(::unlink(path(step.name).c_str())); }
  std::string rmdir(const Step& step) { return told(::rmdir(path(step.name).c_str())); }
  std::string rename(const Step& step) {
    return told(::rename(path(step.name).c_str(), path(step.other).c_str()));
  }
  std::string list(const Step& step) { return ::testing::PrintToString(names(path(step.name))); }
  std::string symlink(const Step& step) { return told(::symlink(step.other, path(step.name).c_str())); }
  std::string chmod(const Step& step) { return told(::chmod(path(step.name).c_str(), step.mode)); }
  std::string stat(const Step& step) {
    struct stat attributes {};
    const int result = ::lstat(path(step.name).c_str(), &attributes);
    return result != 0 ? told(result) : describe(attributes);
  }

  std::string openHandle(const Step& step) {
    UniqueDescriptor file = opened(step);
    const std::string result = file ? "open" : told(-1);
    if (file) handles_[step.slot] = std::move(file);
    return result;
  }
  std::string writeBy(const Step& step) {
    return told(::pwrite(at(step), step.bytes.data(), step.bytes.size(), step.offset));
  }
  std::string readBy(const Step& step) {
    std::string bytes(400'000, '\0');
    return told(::pread(at(step), bytes.data(), bytes.size(), 0)) + bytes;
  }
  std::string truncateBy(const Step& step) { return told(::ftruncate(at(step), step.offset)); }
  std::string close(const Step& step) { return fmt::to_string(handles_.erase(step.slot)); }

  int at(const Step& step) const {
    const auto it = handles_.find(step.slot);
    return it == handles_.end() ? -1 : it->second.get();
  }
  // What the step's open file looks like after it, also when its name is gone.
  std::string handle(const Step& step) const {
    struct stat attributes {};
    return ::fstat(at(step), &attributes) == 0 ? " " + describe(attributes) : "";
  }
  static std::string describe(const struct stat& attributes) {
    // The size and links of a folder are a matter of the file system.
    if (S_ISDIR(attributes.st_mode)) return fmt::format("{:o}", attributes.st_mode);
    return fmt::format("{:o} {} {}", attributes.st_mode, attributes.st_size, attributes.st_nlink);
  }

  const fs::path top_;
  std::map<int, UniqueDescriptor> handles_;
};

TEST(WriteModelTest, RandomOperationsGiveWhatADiskGives) {
  TestSystem system;
  system.start();
  const fs::path onDisk = system.data() / "model", onMount = system.mounted() / "model";
  fs::create_directory(onDisk);
  fs::create_directory(onMount);
  Side disk(onDisk), mount(onMount);
  const unsigned seed = std::random_device()();
  Steps steps(seed);
  for (int count = 0; count < 3000; ++count) {
    const Step step = steps.next(static_cast<int>(Side::operations().size()));
    const std::string expected = disk.run(step), seen = mount.run(step);
    ASSERT_TRUE(expected == seen) << "seed " << seed << ", step " << count << " of kind " << step.kind << ": "
                                  << step.name << " " << step.other << "\n"
                                  << expected.substr(0, 200) << "\n"
                                  << seen.substr(0, 200);
  }
  EXPECT_EQ(treeDifference(onDisk, onMount), "");
}

}  // namespace
}  // namespace zelto::test
