#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/UniqueDescriptor.h"
#include "tests/system/ServerWatch.h"
#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

// The system calls with which programs save a file, as seen with strace. Each step must succeed.
class Saver {
 public:
  explicit Saver(fs::path file) : file_(std::move(file)) {}

  const fs::path& file() const { return file_; }
  fs::path beside(const std::string& name) const { return file_.parent_path() / name; }
  fs::path backup() const { return file_.string() + "~"; }
  std::string name() const { return file_.filename().string(); }

  void write(const fs::path& path, int flags, const std::string& bytes, mode_t mode = 0644) const {
    const UniqueDescriptor file(::open(path.c_str(), flags | O_WRONLY | O_CLOEXEC, mode));
    ASSERT_TRUE(file) << path << ": " << errno;
    // In pieces, as from a buffer.
    for (std::size_t at = 0; at < bytes.size(); at += 4096) {
      const std::size_t length = std::min<std::size_t>(4096, bytes.size() - at);
      ASSERT_EQ(::write(file.get(), bytes.data() + at, length), static_cast<ssize_t>(length)) << errno;
    }
    ASSERT_EQ(::fsync(file.get()), 0) << errno;
    struct stat attributes {};
    ASSERT_EQ(::stat(path.c_str(), &attributes), 0);
    ASSERT_EQ(::fchmod(file.get(), 0644), 0) << errno;
  }
  void writeNew(const fs::path& path, const std::string& bytes) const {
    write(path, O_CREAT | O_EXCL, bytes, 0600);
  }
  void rename(const fs::path& from, const fs::path& to) const {
    ASSERT_EQ(::rename(from.c_str(), to.c_str()), 0) << from << ": " << errno;
  }
  void unlink(const fs::path& path) const { ASSERT_EQ(::unlink(path.c_str()), 0) << path << ": " << errno; }

 private:
  const fs::path file_;
};

// Whether one may write into the folder, and who has the file open.
void beginVim(const Saver& saver) {
  const fs::path swap = saver.beside("." + saver.name() + ".swp");
  const fs::path probe = saver.beside("." + saver.name() + ".swx");
  saver.writeNew(swap, "");
  saver.writeNew(probe, "");
  saver.unlink(probe);
  saver.write(swap, 0, std::string(12288, 's'));
  saver.writeNew(saver.beside("4913"), "");
  saver.unlink(saver.beside("4913"));
}

void vimWithBackup(const Saver& saver, const std::string& bytes) {
  beginVim(saver);
  saver.rename(saver.file(), saver.backup());
  saver.write(saver.file(), O_CREAT | O_EXCL, bytes);
  saver.unlink(saver.beside("." + saver.name() + ".swp"));
}

void vimWithoutBackup(const Saver& saver, const std::string& bytes) {
  vimWithBackup(saver, bytes);
  saver.unlink(saver.backup());
}

void emacs(const Saver& saver, const std::string& bytes) {
  const fs::path lock = saver.beside(".#" + saver.name()), automatic = saver.beside("#" + saver.name() + "#");
  ASSERT_EQ(::symlink("somebody@here.4711:1700000000", lock.c_str()), 0) << errno;
  saver.write(automatic, O_CREAT | O_TRUNC, bytes.substr(0, bytes.size() / 2));
  saver.rename(saver.file(), saver.backup());
  saver.write(saver.file(), O_CREAT | O_EXCL, bytes);
  saver.unlink(automatic);
  saver.unlink(lock);
}

void gio(const Saver& saver, const std::string& bytes) {
  const fs::path stream = saver.beside(".goutputstream-9C1QT2");
  saver.writeNew(stream, bytes);
  saver.rename(stream, saver.file());
}

void gioWithBackup(const Saver& saver, const std::string& bytes) {
  const fs::path stream = saver.beside(".goutputstream-L3K8S1");
  saver.writeNew(stream, bytes);
  // There are no hard links, so the old one is moved.
  EXPECT_EQ(::link(saver.file().c_str(), saver.backup().c_str()), -1);
  saver.rename(saver.file(), saver.backup());
  saver.rename(stream, saver.file());
}

void libreOffice(const Saver& saver, const std::string& bytes) {
  const fs::path lock = saver.beside(".~lock." + saver.name() + "#"), work = saver.beside("lu31415ab.tmp");
  saver.write(lock, O_CREAT | O_TRUNC, ",somebody,here,23.11.2026 03:44,file:///home/somebody;");
  saver.writeNew(work, "");
  saver.write(work, O_TRUNC, bytes);
  saver.rename(work, saver.file());
  saver.unlink(lock);
}

void kate(const Saver& saver, const std::string& bytes) {
  const fs::path swap = saver.beside("." + saver.name() + ".kate-swp"),
                 work = saver.file().string() + ".wQxYzA";
  saver.write(swap, O_CREAT | O_TRUNC, std::string(5000, 'k'));
  // A file without a name would come first.
  EXPECT_EQ(::open(saver.file().parent_path().c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600), -1);
  saver.writeNew(work, bytes);
  saver.rename(work, saver.file());
  saver.unlink(swap);
}

void rsync(const Saver& saver, const std::string& bytes) {
  const fs::path work = saver.beside("." + saver.name() + ".Xa81Lw");
  saver.writeNew(work, bytes);
  const std::timespec dates[] = {{.tv_sec = 0, .tv_nsec = UTIME_NOW},
                                 {.tv_sec = 1'700'000'000, .tv_nsec = 5000}};
  ASSERT_EQ(::utimensat(AT_FDCWD, work.c_str(), dates, AT_SYMLINK_NOFOLLOW), 0) << errno;
  ASSERT_EQ(::chmod(work.c_str(), 0644), 0) << errno;
  saver.rename(work, saver.file());
}

void sedInPlace(const Saver& saver, const std::string& bytes) {
  const fs::path work = saver.beside("sedQk3ZbE");
  saver.writeNew(work, bytes);
  saver.rename(work, saver.file());
}

void inPlace(const Saver& saver, const std::string& bytes) { saver.write(saver.file(), O_TRUNC, bytes); }

void wordProcessor(const Saver& saver, const std::string& bytes) {
  const fs::path lock = saver.beside("~$" + saver.name()), work = saver.beside("~WRD0001.tmp"),
                 old = saver.beside("~WRL0002.tmp");
  saver.writeNew(lock, std::string(162, 'l'));
  saver.writeNew(work, bytes);
  saver.rename(saver.file(), old);
  saver.rename(work, saver.file());
  saver.unlink(old);
  saver.unlink(lock);
}

void spreadsheet(const Saver& saver, const std::string& bytes) {
  const fs::path lock = saver.beside("~$" + saver.name()), work = saver.beside("4F2A9C10"),
                 old = saver.beside("8B7E1D30.tmp");
  saver.writeNew(lock, std::string(165, 'l'));
  saver.writeNew(work, bytes);
  saver.rename(saver.file(), old);
  saver.rename(work, saver.file());
  saver.unlink(old);
  saver.unlink(lock);
}

struct Program {
  const char* name;
  void (*save)(const Saver&, const std::string&);
};

void PrintTo(const Program& program, std::ostream* out) { *out << program.name; }

struct SafeSaveTest : ::testing::TestWithParam<Program> {
  TestSystem system;

  void SetUp() override {
    writeFile(system.share() / "report.odt", std::string(20'000, 'o'));
    system.start();
    EXPECT_EQ(readFile(file()).size(), 20'000U);
  }
  fs::path file() const { return system.mounted() / "report.odt"; }
  std::string identifier() { return *system.item(file()).find("identifier")->asString(); }
  void waitUntilSent() {
    const auto failed = system.callManager("Wait", "", {});
    ASSERT_TRUE(failed) << failed.error().localizedDescription();
    EXPECT_EQ(std::get<std::string>(failed->at(0)), "[]");
  }
  void expectNothingElseOnTheServer(ServerWatch& watch) {
    EXPECT_EQ(watch.names(), std::set<std::string>{"report.odt"});
    EXPECT_EQ(names(system.share()), std::vector<std::string>{"report.odt"});
    EXPECT_EQ(system.hostCalls("deleteItem"), 0);
    EXPECT_EQ(system.hostCalls("moveItem"), 0);
    EXPECT_EQ(system.hostCalls("createDirectory"), 0);
    EXPECT_EQ(system.status().find("conflicts")->integerValue(), 0);
  }
};

// However it is done, for the server the file has another content, and nothing else has happened.
TEST_P(SafeSaveTest, TheServerSeesAFileThatChanges) {
  ServerWatch watch(system.share());
  const std::string before = identifier();
  const Saver saver(file());
  GetParam().save(saver, "saved once " + std::string(30'000, 'n'));
  waitUntilSent();
  EXPECT_EQ(readFile(system.share() / "report.odt"), "saved once " + std::string(30'000, 'n'));
  EXPECT_EQ(system.hostCalls("uploadFile"), 1);
  EXPECT_EQ(identifier(), before);
  expectNothingElseOnTheServer(watch);

  std::string last;
  for (int round = 0; round < 5; ++round) {
    ::unlink(saver.backup().c_str());
    last = "round " + std::to_string(round) + std::string(10'000, 'r');
    GetParam().save(saver, last);
  }
  EXPECT_EQ(readFile(file()), last);
  waitUntilSent();
  EXPECT_EQ(readFile(system.share() / "report.odt"), last);
  // They are taken together where they follow one another closely.
  EXPECT_GE(system.hostCalls("uploadFile"), 2);
  EXPECT_LE(system.hostCalls("uploadFile"), 6);
  EXPECT_EQ(identifier(), before);
  EXPECT_EQ(readFile(file()), last);
  expectNothingElseOnTheServer(watch);
}

INSTANTIATE_TEST_SUITE_P(
    Programs, SafeSaveTest,
    ::testing::Values(Program{"VimWithBackup", vimWithBackup}, Program{"VimWithoutBackup", vimWithoutBackup},
                      Program{"Emacs", emacs}, Program{"GIO", gio}, Program{"GIOWithBackup", gioWithBackup},
                      Program{"LibreOffice", libreOffice}, Program{"Kate", kate}, Program{"Rsync", rsync},
                      Program{"Sed", sedInPlace}, Program{"InPlace", inPlace},
                      Program{"WordProcessor", wordProcessor}, Program{"Spreadsheet", spreadsheet}),
    [](const auto& program) { return program.param.name; });

}  // namespace
}  // namespace zelto::test
