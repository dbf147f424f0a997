#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "tests/system/Settled.h"

namespace zelto::test {
namespace {

using Names = std::vector<std::string>;

// The errno value of a call that gave -1, else 0.
int errnoOf(long result) { return result == -1 ? errno : 0; }

int errnoOfRenaming(const fs::path& from, const fs::path& to, unsigned flags = 0) {
  return errnoOf(::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags));
}
int errnoOfMaking(const fs::path& folder) { return errnoOf(::mkdir(folder.c_str(), 0755)); }
int errnoOfMakingFile(const fs::path& file) {
  const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  const int code = errnoOf(descriptor);
  ::close(descriptor);
  return code;
}
int errnoOfRemoving(const fs::path& folder) { return errnoOf(::rmdir(folder.c_str())); }
int errnoOfUnlinking(const fs::path& file) { return errnoOf(::unlink(file.c_str())); }

struct stat attributesOf(const fs::path& path) {
  struct stat attributes {};
  EXPECT_EQ(::lstat(path.c_str(), &attributes), 0) << path << ": " << errno;
  return attributes;
}

std::string attributeOf(const fs::path& path, const char* name) {
  char value[256];
  const ssize_t size = ::getxattr(path.c_str(), name, value, sizeof value);
  return size < 0 ? "errno " + std::to_string(errno) : std::string(value, static_cast<std::size_t>(size));
}

int run(const std::string& command) {
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Starts all, lists the share, and ends and starts the extension in good order: what is listed is on disk
// then.
void startKnowing(TestSystem& system) {
  system.start();
  EXPECT_EQ(names(system.mounted()), names(system.share()));
  system.extension().kill(SIGTERM);
  system.startExtension();
  system.waitUntilConnected();
}

TEST(WriteNamesTest, FoldersLinksAndFilesComeMoveAndGo) {
  TestSystem system;
  writeFile(system.share() / "served" / "file", "text");
  system.start();
  const fs::path& top = system.mounted();
  EXPECT_EQ(errnoOfMaking(top / "made"), 0);
  EXPECT_EQ(errnoOfMaking(top / "made"), EEXIST);
  EXPECT_EQ(errnoOfMaking(top / "nowhere" / "made"), ENOENT);
  EXPECT_EQ(attributesOf(top / "made").st_mode, static_cast<mode_t>(S_IFDIR | 0755));
  ASSERT_EQ(::symlink("served/file", (top / "link").c_str()), 0) << errno;
  EXPECT_EQ(fs::read_symlink(top / "link"), "served/file");
  EXPECT_EQ(readFile(top / "link"), "text");
  ASSERT_EQ(::mknod((top / "node").c_str(), S_IFREG | 0600, 0), 0) << errno;
  EXPECT_EQ(attributesOf(top / "node").st_mode, static_cast<mode_t>(S_IFREG | 0600));
  EXPECT_EQ(names(top), (Names{"link", "made", "node", "served"}));

  EXPECT_EQ(errnoOfRenaming(top / "served" / "file", top / "made" / "renamed"), 0);
  EXPECT_EQ(readFile(top / "made" / "renamed"), "text");
  EXPECT_EQ(names(top / "served"), Names{});
  EXPECT_EQ(errnoOfRenaming(top / "made", top / "served"), 0);  // an empty folder may be replaced
  EXPECT_EQ(names(top / "served"), Names{"renamed"});
  EXPECT_EQ(errnoOfUnlinking(top / "link"), 0);
  EXPECT_EQ(errnoOfUnlinking(top / "node"), 0);
  EXPECT_EQ(errnoOfUnlinking(top / "served" / "renamed"), 0);
  EXPECT_EQ(errnoOfRemoving(top / "served"), 0);
  EXPECT_EQ(names(top), Names{});
}

TEST(WriteNamesTest, WhatDoesNotFitIsRefusedAndChangesNothing) {
  TestSystem system;
  writeFile(system.share() / "full" / "inner" / "file", "a");
  writeFile(system.share() / "other" / "file", "b");
  system.start();
  const fs::path& top = system.mounted();
  // Neither folder has been listed: what is in them is on the server only.
  EXPECT_EQ(errnoOfRemoving(top / "full"), ENOTEMPTY);
  EXPECT_EQ(errnoOfRenaming(top / "other", top / "full" / "inner"), ENOTEMPTY);
  EXPECT_EQ(errnoOfRenaming(top / "full", top / "full" / "inner" / "below"), EINVAL);
  EXPECT_EQ(errnoOfRenaming(top / "other" / "file", top / "full"), EISDIR);
  EXPECT_EQ(errnoOfRenaming(top / "full", top / "other" / "file"), ENOTDIR);
  EXPECT_EQ(errnoOfRenaming(top / "full", top / "other", RENAME_NOREPLACE), EEXIST);
  EXPECT_EQ(errnoOfRenaming(top / "full", top / "other", RENAME_EXCHANGE), EINVAL);
  EXPECT_EQ(errnoOfRenaming(top / "other" / "file", top / "other" / "file"), 0);
  EXPECT_EQ(errnoOfRemoving(top / "other" / "file"), ENOTDIR);
  EXPECT_EQ(errnoOfUnlinking(top / "other"), EISDIR);
  EXPECT_EQ(errnoOf(::link((top / "other" / "file").c_str(), (top / "second").c_str())), EPERM);
  EXPECT_EQ(errnoOf(::mkfifo((top / "pipe").c_str(), 0600)), EPERM);
  EXPECT_EQ(treeDifference(system.share(), top), "");
}

TEST(WriteNamesTest, NamesThatTheServerCannotHaveAreRefused) {
  TestSystem system;
  system.start();
  const fs::path& top = system.mounted();
  EXPECT_EQ(errnoOfMakingFile(top / std::string(255, 'n')), 0);
  EXPECT_EQ(errnoOfMakingFile(top / std::string(256, 'n')), ENAMETOOLONG);
  EXPECT_EQ(errnoOfMaking(top / "bad\xff"), EILSEQ);
  EXPECT_EQ(errnoOf(::symlink("\xc3", (top / "link").c_str())), EILSEQ);
  EXPECT_EQ(errnoOfRenaming(top / std::string(255, 'n'), top / "bad\xff"), EILSEQ);
  const char* const kept = ".zelto-upload-0F1E2D3C-4B5A-4697-8877-665544332211";
  EXPECT_EQ(errnoOfMakingFile(top / kept), EINVAL);
  EXPECT_EQ(errnoOfMaking(top / kept), EINVAL);
  EXPECT_EQ(errnoOfRenaming(top / std::string(255, 'n'), top / kept), EINVAL);
  const int here = ::open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  int deep = here, code = 0;
  int depth = 0;
  while (code == 0 && depth < 100) {
    const std::string name(200, 'd');
    code = errnoOf(::mkdirat(deep, name.c_str(), 0755));
    const int next = ::openat(deep, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ::close(deep);
    deep = next;
    ++depth;
  }
  ::close(deep);
  EXPECT_EQ(code, ENAMETOOLONG);
  EXPECT_EQ(depth, 20);  // "/share" and nineteen of 201 bytes are below 4000
  EXPECT_EQ(waitUntilSettled(system), "");
  EXPECT_EQ(treeDifference(system.share(), top), "");
}

TEST(WriteNamesTest, WhatTheServerDoesNotAllowIsRefusedAtTheCall) {
  TestSystem system;
  writeFile(system.share() / "folder" / "file", "text");
  fs::create_directories(system.served() / "second");
  system.startExtension();
  system.startHost({"--my-files", "on", "--offline-files", "on"});
  system.waitUntilConnected();
  const fs::path& root = system.mount();
  const fs::path share = root / "My Files" / "share";
  for (const fs::path& folder : {root, root / "My Files", root / "Bookmarks", root / "Offline Files"}) {
    EXPECT_EQ(errnoOfMaking(folder / "new"), EACCES) << folder;
    EXPECT_EQ(errnoOfMakingFile(folder / "new"), EACCES) << folder;
    EXPECT_EQ(errnoOf(::symlink("x", (folder / "new").c_str())), EACCES) << folder;
    EXPECT_EQ(errnoOfRenaming(share / "folder" / "file", folder / "file"), EACCES) << folder;
  }
  EXPECT_EQ(errnoOfRemoving(root / "Bookmarks"), EACCES);
  EXPECT_EQ(errnoOfRenaming(root / "Bookmarks", root / "Marks"), EACCES);
  EXPECT_EQ(errnoOf(::chmod((root / "Bookmarks").c_str(), 0777)), EACCES);
  EXPECT_EQ(errnoOfRemoving(root / "My Files" / "second"), EACCES);
  EXPECT_EQ(errnoOfRenaming(share, root / "My Files" / "renamed"), EACCES);
  EXPECT_EQ(pendingNow(system), "[]");
  EXPECT_EQ(errnoOfMaking(share / "new"), 0);
  EXPECT_EQ(names(root / "My Files"), (Names{"second", "share"}));
}

// All that would change something at or below a path.
void expectNothingMayChange(const fs::path& folder, const fs::path& elsewhere) {
  EXPECT_EQ(errnoOfMaking(folder / "new"), EACCES);
  EXPECT_EQ(errnoOfMakingFile(folder / "new"), EACCES);
  EXPECT_EQ(errnoOf(::symlink("x", (folder / "new").c_str())), EACCES);
  EXPECT_EQ(errnoOfRenaming(elsewhere / "file", folder / "new"), EACCES);
  EXPECT_EQ(errnoOfRenaming(elsewhere / "file", folder / "file"), EACCES);
  EXPECT_EQ(errnoOfRenaming(folder / "file", elsewhere / "new"), EACCES);
  EXPECT_EQ(errnoOfRenaming(folder / "file", folder / "renamed"), EACCES);
  EXPECT_EQ(errnoOfRenaming(folder / "empty", folder / "renamed"), EACCES);
  EXPECT_EQ(errnoOfRenaming(folder / "empty", elsewhere / "new"), EACCES);
  EXPECT_EQ(errnoOfUnlinking(folder / "file"), EACCES);
  EXPECT_EQ(errnoOfRemoving(folder / "empty"), EACCES);
  EXPECT_EQ(errnoOf(::open((folder / "file").c_str(), O_RDWR | O_CLOEXEC)), EACCES);
  EXPECT_EQ(errnoOf(::truncate((folder / "file").c_str(), 1)), EACCES);
  EXPECT_EQ(errnoOf(::chmod((folder / "file").c_str(), 0777)), EACCES);
  EXPECT_EQ(errnoOf(::utimensat(AT_FDCWD, (folder / "file").c_str(), nullptr, 0)), EACCES);
  EXPECT_EQ(errnoOf(::setxattr((folder / "file").c_str(), "user.a", "b", 1, 0)), EACCES);
  EXPECT_EQ(readFile(folder / "file"), "text");
}

TEST(WriteNamesTest, NothingInAReadOnlyShareOrOfAnOfflineFileCanBeChanged) {
  TestSystem system;
  for (const fs::path& folder : {system.share(), system.share() / "kept", system.served() / "closed"}) {
    writeFile(folder / "file", "text");
    fs::create_directory(folder / "empty");
  }
  fs::permissions(system.served() / "closed", fs::perms(0555));
  system.startExtension();
  system.startHost({"--my-files", "on", "--offline-files", "on"});
  system.waitUntilConnected();
  ASSERT_TRUE(system.callHost("MakeOffline", "s", {std::string("/My Files/share/kept")}).has_value());
  const fs::path offline = system.mount() / "Offline Files", shares = system.mount() / "My Files";
  EXPECT_TRUE(eventually([&] { return names(offline) == Names{"kept"}; }));
  expectNothingMayChange(offline / "kept", shares / "share");
  expectNothingMayChange(shares / "closed", shares / "share");
  EXPECT_EQ(errnoOfRenaming(offline / "kept", shares / "share" / "taken"), EACCES);
  EXPECT_EQ(pendingNow(system), "[]");
  EXPECT_EQ(treeDifference(system.served(), shares), "");
}

TEST(WriteNamesTest, DatesModesAndOwners) {
  TestSystem system;
  writeFile(system.share() / "file", "text");
  startKnowing(system);
  const fs::path file = system.mounted() / "file";
  ASSERT_EQ(::chmod(file.c_str(), 0750), 0);
  EXPECT_EQ(attributesOf(file).st_mode, static_cast<mode_t>(S_IFREG | 0750));
  const std::timespec dates[] = {{1'000'000'000, 1}, {1'100'000'000, 123'456'789}};
  ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), dates, 0), 0);
  EXPECT_EQ(attributesOf(file).st_mtim.tv_sec, 1'100'000'000);
  EXPECT_EQ(attributesOf(file).st_mtim.tv_nsec, 123'456'789);
  EXPECT_EQ(attributesOf(file).st_atim.tv_sec, 1'000'000'000);
  const std::timespec nowAndOmit[] = {{0, UTIME_OMIT}, {0, UTIME_NOW}};
  const std::time_t before = ::time(nullptr);
  ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), nowAndOmit, 0), 0);
  EXPECT_GE(attributesOf(file).st_mtim.tv_sec, before);
  EXPECT_EQ(attributesOf(file).st_atim.tv_sec, 1'000'000'000);
  EXPECT_EQ(errnoOf(::chown(file.c_str(), ::getuid(), ::getgid())), 0);
  EXPECT_EQ(errnoOf(::chown(file.c_str(), ::getuid() + 1, ::getgid())), EPERM);
  EXPECT_EQ(errnoOf(::chown(file.c_str(), static_cast<uid_t>(-1), ::getgid() + 1)), EPERM);
  ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), dates, 0), 0);
  writeFile(file, "later");
  EXPECT_GE(attributesOf(file).st_mtim.tv_sec, before);
  system.extension().kill(SIGKILL);
  system.startExtension();
  EXPECT_EQ(attributesOf(file).st_mode, static_cast<mode_t>(S_IFREG | 0750));
  EXPECT_GE(attributesOf(file).st_mtim.tv_sec, before);
}

TEST(WriteNamesTest, ExtendedAttributesStayWithTheFile) {
  TestSystem system;
  writeFile(system.share() / "file", "text");
  startKnowing(system);
  const fs::path file = system.mounted() / "file";
  const auto set = [&](const char* name, const std::string& value, int flags = 0) {
    return errnoOf(::setxattr(file.c_str(), name, value.data(), value.size(), flags));
  };
  EXPECT_EQ(set("user.colour", "blue", XATTR_REPLACE), ENODATA);
  EXPECT_EQ(set("user.colour", "blue", XATTR_CREATE), 0);
  EXPECT_EQ(set("user.colour", "red", XATTR_CREATE), EEXIST);
  EXPECT_EQ(set("user.colour", "green"), 0);
  EXPECT_EQ(set("user.large", std::string(64 << 10, 'x')), 0);
  EXPECT_EQ(set("trusted.colour", "red"), EOPNOTSUPP);
  EXPECT_EQ(set("user.zelto.state", "mine"), EPERM);
  for (const char* name : {"user.a", "user.b", "user.c", "user.d"}) {
    const int code = set(name, std::string(64 << 10, 'x'));
    EXPECT_EQ(code, name == std::string("user.d") || name == std::string("user.c") ? ENOSPC : 0) << name;
  }
  EXPECT_EQ(errnoOf(::removexattr(file.c_str(), "user.a")), 0);
  EXPECT_EQ(errnoOf(::removexattr(file.c_str(), "user.a")), ENODATA);
  EXPECT_EQ(attributeOf(file, "user.colour"), "green");
  EXPECT_EQ(attributeOf(file, "user.a"), "errno " + std::to_string(ENODATA));
  ASSERT_EQ(errnoOfRenaming(file, system.mounted() / "moved"), 0);
  system.extension().kill(SIGKILL);
  system.startExtension();
  EXPECT_EQ(attributeOf(system.mounted() / "moved", "user.colour"), "green");
}

// What programs that copy, archive and save do.
TEST(WriteNamesTest, ProgramsWorkAsOnADisk) {
  TestSystem system;
  system.start();
  const fs::path from = system.data() / "from";
  for (int i = 0; i < 40; ++i)
    writeFile(from / std::to_string(i % 4) / std::to_string(i), std::string(i * 999, 'x'));
  fs::create_symlink("0/4", from / "link");
  const std::string top = system.mounted().string(), source = from.string();
  ASSERT_EQ(run("cp -a " + source + " " + top + "/copied"), 0);
  EXPECT_EQ(treeDifference(from, system.mounted() / "copied"), "");
  ASSERT_EQ(run("mkdir " + top + "/extracted && tar -C " + source + " -cf - . | tar -C " + top +
                "/extracted -xf -"),
            0);
  EXPECT_EQ(treeDifference(from, system.mounted() / "extracted"), "");
  EXPECT_EQ(run("cd " + top + "/copied/0 && sed -i s/x/y/ 4 && grep -q ^yx 4"), 0);
  EXPECT_EQ(run("cd " + top + "/copied && rm -r 1 2 link && mv 3 4 && ls | tr '\\n' ' ' | grep -qx '0 4 '"),
            0);
  EXPECT_EQ(run("rm -rf " + top + "/extracted"), 0);
  EXPECT_EQ(names(system.mounted()), Names{"copied"});
}

}  // namespace
}  // namespace zelto::test
