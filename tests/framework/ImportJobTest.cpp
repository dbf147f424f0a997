#include <atomic>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/importing/ImportJob.h"
#include "tests/framework/ScriptedServer.h"

namespace zelto::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string contentOf(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// A server whose extension can also be handed a whole folder. What comes of that walk is the test's choice.
class WalkingServer final : public PlainExtension {
 public:
  // Runs on a thread of its own, with the folder's path on the server, the local one, the walk's progress and
  // the handler. Keeping the handler leaves the request without an answer.
  using Walk = std::function<void(WalkingServer&, const std::string&, const fs::path&, NSProgress&,
                                  NSFileProviderItemCompletion)>;

  explicit WalkingServer(fs::path directory) : scripted(std::move(directory)) {}
  ~WalkingServer() override {
    if (thread_.joinable()) thread_.join();
  }

  ScriptedServer scripted;
  Walk walk;
  std::atomic<int> walks = 0;

  // Takes what stands at an entry of the local folder over.
  void bring(const std::string& path, const fs::path& folder, const fs::path& entry) {
    const fs::path place = folder / entry;
    const std::string target = path + "/" + entry.string();
    if (fs::is_directory(fs::symlink_status(place))) return scripted.putFolder(target);
    scripted.put(target, fs::is_regular_file(fs::symlink_status(place)) ? contentOf(place) : "");
    fs::remove(place);
  }
  void keep(NSFileProviderItemCompletion handler) { kept_.push_back(std::move(handler)); }

  void invalidate() override {}
  std::shared_ptr<NSProgress> supportedServiceSourcesForItemIdentifier(
      const std::string& identifier,
      Completion<std::vector<std::shared_ptr<NSFileProviderServiceSource>>, std::optional<NSError>> handler)
      override {
    return scripted.supportedServiceSourcesForItemIdentifier(identifier, std::move(handler));
  }
  std::shared_ptr<NSFileProviderEnumerator> enumeratorForContainerItemIdentifier(
      const std::string& identifier, const NSFileProviderRequest& request,
      std::optional<NSError>* error) override {
    return scripted.enumeratorForContainerItemIdentifier(identifier, request, error);
  }
  std::shared_ptr<NSProgress> itemForIdentifier(
      const std::string& identifier, const NSFileProviderRequest& request,
      Completion<NSFileProviderItemPtr, std::optional<NSError>> handler) override {
    return scripted.itemForIdentifier(identifier, request, std::move(handler));
  }
  std::shared_ptr<NSProgress> fetchContentsForItemWithIdentifier(
      const std::string&, const std::optional<NSFileProviderItemVersion>&, const NSFileProviderRequest&,
      Completion<std::optional<NSURL>, NSFileProviderItemPtr, std::optional<NSError>>) override {
    return NSProgress::create();
  }
  std::shared_ptr<NSProgress> fetchPartialContentsForItemWithIdentifier(
      const std::string&, const NSFileProviderItemVersion&, const NSFileProviderRequest&, NSRange,
      std::uint64_t, NSFileProviderFetchContentsOptions,
      Completion<std::optional<NSURL>, NSFileProviderItemPtr, NSRange, NSFileProviderMaterializationFlags,
                 std::optional<NSError>>) override {
    return NSProgress::create();
  }
  std::shared_ptr<NSProgress> createItemBasedOnTemplate(const NSFileProviderItemPtr& itemTemplate,
                                                        NSFileProviderItemFields fields,
                                                        const std::optional<NSURL>& contents,
                                                        NSFileProviderCreateItemOptions options,
                                                        const NSFileProviderRequest& request,
                                                        NSFileProviderItemCompletion handler) override {
    if (!contents || !fs::is_directory(contents->path())) {
      return scripted.createItemBasedOnTemplate(itemTemplate, fields, contents, options, request,
                                                std::move(handler));
    }
    ++walks;
    const std::string path = *itemTemplate->parentItemIdentifier() + "/" + *itemTemplate->filename();
    auto progress = NSProgress::create(7);
    thread_ = std::thread(
        [this, path, local = fs::path(contents->path()), progress, handler = std::move(handler)]() mutable {
          walk(*this, path, local, *progress, std::move(handler));
        });
    return progress;
  }
  std::shared_ptr<NSProgress> modifyItem(const NSFileProviderItemPtr&, const NSFileProviderItemVersion&,
                                         NSFileProviderItemFields, const std::optional<NSURL>&,
                                         NSFileProviderModifyItemOptions, const NSFileProviderRequest&,
                                         NSFileProviderItemCompletion) override {
    return NSProgress::create();
  }
  std::shared_ptr<NSProgress> deleteItemWithIdentifier(const std::string&, const NSFileProviderItemVersion&,
                                                       NSFileProviderDeleteItemOptions,
                                                       const NSFileProviderRequest&,
                                                       Completion<std::optional<NSError>>) override {
    return NSProgress::create();
  }

 private:
  std::thread thread_;
  std::vector<NSFileProviderItemCompletion> kept_;
};

class ImportJobTest : public testing::Test {
 protected:
  ImportJobTest() {
    std::string pattern = (fs::temp_directory_path() / "zelto-import-XXXXXX").string();
    root_ = ::mkdtemp(pattern.data());
    fs::create_directories(root_ / "delivered");
    write("a/one", "1");
    write("a/b/two", "22");
    write("three", "333");
    fs::create_directories(source() / "empty");
    server_.scripted.putFolder("/share");
  }
  ~ImportJobTest() override { fs::remove_all(root_); }

  fs::path source() const { return root_ / "source"; }
  void write(const fs::path& name, const std::string& content) const {
    fs::create_directories((source() / name).parent_path());
    std::ofstream(source() / name) << content;
  }

  ImportJob::End run(bool singly = false) {
    reports_.clear();
    ImportJob job(
        server_, {source().string(), {"/share", "source"}, (root_ / "private").string(), singly},
        [this](const ImportReport& report) { reports_.push_back(report); },
        [this] { return !hostLost_.load(); }, settings_);
    return job.run();
  }
  std::vector<std::string> messages() const {
    std::vector<std::string> messages;
    for (const ImportReport& report : reports_) {
      if (!report.message.empty()) messages.push_back(report.message);
    }
    return messages;
  }
  void expectEverythingThere() {
    const auto tree = server_.scripted.tree();
    const std::map<std::string, std::string> expected{{"/share", "/"},
                                                      {"/share/source", "/"},
                                                      {"/share/source/a", "/"},
                                                      {"/share/source/a/b", "/"},
                                                      {"/share/source/a/b/two", "22"},
                                                      {"/share/source/a/one", "1"},
                                                      {"/share/source/empty", "/"},
                                                      {"/share/source/three", "333"}};
    EXPECT_EQ(tree, expected);
    EXPECT_EQ(contentOf(source() / "three"), "333") << "the original stays";
    EXPECT_FALSE(fs::exists(root_ / "private"));
    ASSERT_FALSE(reports_.empty());
    EXPECT_EQ(reports_.back(), (ImportReport{6, 6, 6, 6, true, "", ""}));
  }

  fs::path root_;
  WalkingServer server_{root_ / "delivered"};
  ImportJob::Settings settings_{
      .walk = {.quiet = 200ms, .slowest = 20'000ms, .slowestRate = 1 << 20, .look = 2ms},
      .patience = 20'000ms};
  std::vector<ImportReport> reports_;
  std::atomic<bool> hostLost_ = false;
};

void bringAll(WalkingServer& server, const std::string& path, const fs::path& folder, NSProgress& progress) {
  server.scripted.putFolder(path);
  std::vector<fs::path> entries;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    entries.push_back(entry.path().lexically_relative(folder));
  }
  for (const fs::path& entry : entries) {
    server.bring(path, folder, entry);
    progress.setCompletedUnitCount(progress.completedUnitCount() + 1);
  }
}

TEST_F(ImportJobTest, AWalkThatEndsBringsEverything) {
  server_.walk = [](WalkingServer& server, const std::string& path, const fs::path& folder,
                    NSProgress& progress, NSFileProviderItemCompletion handler) {
    bringAll(server, path, folder, progress);
    handler(server.scripted.item(path), NSFileProviderItemFields::none, false, std::nullopt);
  };
  EXPECT_EQ(run(), ImportJob::End::done);
  EXPECT_EQ(server_.walks, 1);
  EXPECT_THAT(server_.scripted.changes(), IsEmpty()) << "nothing is sent again";
  expectEverythingThere();
}

TEST_F(ImportJobTest, AWalkThatStandsStillIsLeftAndTheRestSentSingly) {
  server_.walk = [](WalkingServer& server, const std::string& path, const fs::path& folder, NSProgress&,
                    NSFileProviderItemCompletion handler) {
    server.scripted.putFolder(path);
    server.bring(path, folder, "a");
    server.bring(path, folder, "a/one");
    server.keep(std::move(handler));
  };
  EXPECT_EQ(run(), ImportJob::End::startAnew);
  EXPECT_THAT(messages(), ElementsAre(HasSubstr("stands still")));
  EXPECT_FALSE(reports_.back().finished);
  EXPECT_EQ(run(true), ImportJob::End::done);
  EXPECT_EQ(server_.walks, 1);
  EXPECT_THAT(server_.scripted.changes(),
              testing::UnorderedElementsAre("create /share/source/empty", "create /share/source/a/b",
                                            "create /share/source/a/b/two", "create /share/source/three"));
  expectEverythingThere();
}

// Neither is a folder seen by the walk's own progress, nor a large file before it is there.
TEST_F(ImportJobTest, AWalkThatIsSlowIsWaitedFor) {
  for (int looks = 0; looks < 6; ++looks) {
    server_.scripted.next("list", "/share/source", ScriptedServer::Fate::hold);
  }
  server_.walk = [](WalkingServer& server, const std::string& path, const fs::path& folder, NSProgress&,
                    NSFileProviderItemCompletion handler) {
    server.scripted.putFolder(path);
    const auto showNextLook = [&server](int count = 1) {
      for (; count > 0; --count) {
        ASSERT_TRUE(server.scripted.waitForHeld(1));
        server.scripted.release();
      }
    };
    for (const char* entry : {"a", "empty"}) {
      server.bring(path, folder, entry);
      showNextLook();
    }
    const std::string content = contentOf(folder / "three");
    fs::remove(folder / "three");
    showNextLook(3);
    ASSERT_TRUE(server.scripted.waitForHeld(1));
    server.scripted.put(path + "/three", content);
    for (const char* entry : {"a/one", "a/b", "a/b/two"}) server.bring(path, folder, entry);
    server.scripted.release();
    handler(server.scripted.item(path), NSFileProviderItemFields::none, false, std::nullopt);
  };
  EXPECT_EQ(run(), ImportJob::End::done);
  EXPECT_THAT(messages(), IsEmpty());
  expectEverythingThere();
}

TEST_F(ImportJobTest, WhatAWalkLeavesOutIsSentAfterIt) {
  server_.walk = [](WalkingServer& server, const std::string& path, const fs::path& folder, NSProgress&,
                    NSFileProviderItemCompletion handler) {
    server.scripted.putFolder(path);
    server.bring(path, folder, "three");
    handler(nullptr, NSFileProviderItemFields::none, false, errorWithPOSIXCode(EIO, "an entry failed"));
  };
  EXPECT_EQ(run(), ImportJob::End::done);
  expectEverythingThere();
}

TEST_F(ImportJobTest, AFailureNamesTheEntryAndTheNextImportGoesOn) {
  server_.scripted.next("create", "/share/source/a/b/two", ScriptedServer::Fate::fail,
                        NSError(NSCocoaErrorDomain, 640, {{NSLocalizedDescriptionKey, "the disk is full"}}));
  EXPECT_EQ(run(true), ImportJob::End::failed);
  EXPECT_TRUE(reports_.back().finished);
  EXPECT_EQ(reports_.back().error, "a/b/two: the disk is full");
  EXPECT_FALSE(fs::exists(root_ / "private"));
  EXPECT_TRUE(server_.scripted.tree().contains("/share/source/a/b")) << "what was imported stays";
  // The server has some of it: the walk is not used.
  EXPECT_EQ(run(), ImportJob::End::done);
  EXPECT_EQ(server_.walks, 0);
  EXPECT_EQ(server_.scripted.count("create /share/source/a"), 1);
  expectEverythingThere();
}

TEST_F(ImportJobTest, WhatIsThereWithOtherContentStaysAndIsTold) {
  server_.scripted.putFolder("/share/source");
  server_.scripted.put("/share/source/three", "of somebody else");
  server_.scripted.put("/share/source/a", "a file");
  EXPECT_EQ(run(), ImportJob::End::failed);
  EXPECT_THAT(
      reports_.back().error,
      testing::AllOf(testing::StartsWith("5 of the entries are on the server already with other content"),
                     testing::EndsWith(", …")));
  EXPECT_EQ(server_.scripted.tree().at("/share/source/three"), "of somebody else");
  EXPECT_TRUE(server_.scripted.tree().contains("/share/source/empty"));
  server_.scripted.erase("/share/source");
  server_.scripted.put("/share/source", "a file");
  EXPECT_EQ(run(), ImportJob::End::failed);
  EXPECT_THAT(reports_.back().error, HasSubstr("source"));
}

// As an upload does that an earlier process had begun.
TEST_F(ImportJobTest, WhatArrivesInBetweenIsNoFailure) {
  const NSError exists(NSCocoaErrorDomain, 516, {{NSLocalizedDescriptionKey, "it is there"}});
  server_.scripted.next("create", "/share/source/three", ScriptedServer::Fate::fail, exists);
  server_.scripted.next("create", "/share/source/a", ScriptedServer::Fate::fail, exists);
  EXPECT_EQ(run(true), ImportJob::End::done);
  expectEverythingThere();
  server_.scripted.erase("/share/source/three");
  for (int tries = 0; tries < 3; ++tries) {
    server_.scripted.next("create", "/share/source/three", ScriptedServer::Fate::fail, exists);
  }
  EXPECT_EQ(run(true), ImportJob::End::failed) << "unless it never shows";
  EXPECT_EQ(reports_.back().error, "three: it is there");
}

TEST_F(ImportJobTest, LinksAndSpecialFilesBecomeEmptyFiles) {
  fs::create_symlink("three", source() / "link");
  fs::create_symlink("/nowhere", source() / "a/dangling");
  ASSERT_EQ(::mkfifo((source() / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(run(true), ImportJob::End::done);
  EXPECT_THAT(messages(), ElementsAre("3 symbolic links and special files became empty files."));
  for (const char* name : {"link", "a/dangling", "pipe"}) {
    EXPECT_EQ(server_.scripted.tree()[std::string("/share/source/") + name], "") << name;
    EXPECT_TRUE(server_.scripted.tree().contains(std::string("/share/source/") + name));
  }
  // Also by the walk, which gets them as what they are.
  server_.scripted.erase("/share/source");
  server_.walk = [](WalkingServer& server, const std::string& path, const fs::path& folder,
                    NSProgress& progress, NSFileProviderItemCompletion handler) {
    EXPECT_TRUE(fs::is_symlink(folder / "link") && fs::is_fifo(folder / "pipe"));
    bringAll(server, path, folder, progress);
    handler(server.scripted.item(path), NSFileProviderItemFields::none, false, std::nullopt);
  };
  EXPECT_EQ(run(), ImportJob::End::done);
  EXPECT_EQ(server_.walks, 1);
}

TEST_F(ImportJobTest, WhatCannotBeSentIsToldBeforeAnythingIs) {
  write("a/not\xfftext", "x");
  EXPECT_EQ(run(), ImportJob::End::failed);
  EXPECT_THAT(reports_.back().error, HasSubstr("not"));
  fs::remove(source() / "a/not\xfftext");
  fs::rename(source(), root_ / "elsewhere");
  EXPECT_EQ(run(), ImportJob::End::failed);
  EXPECT_THAT(reports_.back().error, HasSubstr("No such file"));
  std::ofstream(source()) << "a file";
  EXPECT_EQ(run(), ImportJob::End::failed);
  EXPECT_THAT(server_.scripted.changes(), IsEmpty());
  EXPECT_EQ(server_.walks, 0);
}

// Its requests are dropped, but for uploads: they stay without an answer.
TEST_F(ImportJobTest, ALostHostIsWaitedForByTheNextProcessUnlessNothingGoesOn) {
  server_.scripted.next("create", "/share/source/three", ScriptedServer::Fate::loseReply);
  EXPECT_EQ(run(true), ImportJob::End::startAnew);
  EXPECT_THAT(messages(), ElementsAre(HasSubstr("host application was lost")));
  EXPECT_FALSE(reports_.back().finished);
  server_.scripted.erase("/share/source");
  server_.scripted.next("create", "/share/source/three", ScriptedServer::Fate::hold);
  std::jthread losing([this] {
    EXPECT_TRUE(server_.scripted.waitForHeld(1));
    hostLost_ = true;
  });
  EXPECT_EQ(run(true), ImportJob::End::startAnew);
  EXPECT_EQ(run(true), ImportJob::End::failed);
  EXPECT_THAT(reports_.back().error, HasSubstr("the host application is not connected"));
  hostLost_ = false;
  EXPECT_EQ(run(), ImportJob::End::done);
  expectEverythingThere();
}

TEST(ImportReport, LinesAreReadBackAndOthersAreNot) {
  const ImportReport report{1, 2, 3, 4, true, "a \"message\"\nof two lines", "an error"};
  const std::string line = report.line();
  EXPECT_EQ(line.find('\n'), line.size() - 1);
  EXPECT_EQ(ImportReport::ofLine(std::string_view(line).substr(0, line.size() - 1)), report);
  EXPECT_EQ(ImportReport::ofLine((ImportReport{.error = "bad\xff"}).line())->error, "bad?");
  for (const char* other : {"", "{", "[]", "{}", "7", "{\"completed\": 3}"}) {
    EXPECT_FALSE(ImportReport::ofLine(other)) << other;
  }
  EXPECT_EQ(ImportReport::ofLine("{\"finished\":true,\"completed\":-3,\"error\":7}")->completed, 0U);
}

}  // namespace
}  // namespace zelto::test
