#include <mutex>
#include <thread>

#include "extension/FileProviderExtension.h"
#include "platform/foundation/DispatchQueue.h"
#include "tests/extension/Fixture.h"
#include "transfer/FileProviderThumbnail.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// Requests as the framework makes them, and the answers in the order in which they come.
class ThumbnailTest : public ExtensionFixture {
 protected:
  std::shared_ptr<NSProgress> fetch(const std::vector<std::string>& identifiers) {
    return extension_.fetchThumbnailsForItemIdentifiers(
        identifiers, {128, 128},
        [this](const std::string& identifier, const std::optional<NSData>& data,
               const std::optional<NSError>& error) {
          const std::lock_guard lock(mutex_);
          answers_.push_back(identifier + (data ? " data" : "") + (error ? " error" : ""));
        },
        [this](const std::optional<NSError>& error) {
          EXPECT_FALSE(error);
          EXPECT_EQ(std::this_thread::get_id(), main_);
          ++completed_;
          DispatchQueue::leaveMainQueue();
        });
  }
  // Every request so far is with the host.
  static void sent() { FileProviderThumbnail::manager().queue().drain(); }
  // BLOCKS: until a request has completed.
  static void serve() { DispatchQueue::serveMainQueue(); }
  std::vector<std::string> answers() {
    const std::lock_guard lock(mutex_);
    return answers_;
  }

  FileProviderExtension extension_{NSFileProviderDomain{"d", "D"}};
  const std::thread::id main_ = std::this_thread::get_id();
  int completed_ = 0;

 private:
  std::mutex mutex_;
  std::vector<std::string> answers_;
};

TEST_F(ThumbnailTest, AllItemsOfARequestAreAskedAtOnceAndAnswerAsTheyCome) {
  host().rangeData = NSData::copyOf("png");
  for (const auto* path : {"/S/a", "/S/b", "/S/c"}) host().hold(path);
  const auto progress = fetch({"/S/a", "/S/b", "/S/c"});
  EXPECT_EQ(3, progress->totalUnitCount());
  sent();
  EXPECT_THAT(host().calls(), ElementsAre("thumbnail /S/a", "thumbnail /S/b", "thumbnail /S/c"));
  host().release("/S/b");
  EXPECT_EQ(1, progress->completedUnitCount());
  host().release("/S/c");
  host().release("/S/a");
  serve();
  EXPECT_EQ(3, progress->completedUnitCount());
  EXPECT_THAT(answers(), ElementsAre("/S/b data", "/S/c data", "/S/a data"));
  EXPECT_EQ(1, completed_);
}

TEST_F(ThumbnailTest, RequestsAreNumberedFromZeroAndTheirItemsFromOne) {
  fetch({"/S/a", "/S/b"});
  serve();
  fetch({});
  serve();
  fetch({"/S/c"});
  serve();
  EXPECT_THAT(host().linesWith("FP[Thumb-"),
              ElementsAre("INFO FP[Thumb-#0 (1/2)] Loaded /S/a", "INFO FP[Thumb-#0 (2/2)] Loaded /S/b",
                          "INFO FP[Thumb-#2 (1/1)] Loaded /S/c"));
}

TEST_F(ThumbnailTest, FailuresAreAnswersWithoutImageAndOnlySomeAreLogged) {
  const NSError failure("host", 7, {{NSLocalizedDescriptionKey, "broken"}});
  host().errors.emplace("/S/a", failure);
  host().errors.emplace("/S/b", NSError("any domain", 96));
  host().errors.emplace("/S/c", NSError(NSPOSIXErrorDomain, 89));
  const auto progress = fetch({"/S/a", "/S/b", "/S/c", "/S/d"});
  serve();
  EXPECT_EQ(4, progress->completedUnitCount());
  EXPECT_THAT(answers(), UnorderedElementsAre("/S/a", "/S/b", "/S/c", "/S/d"));
  EXPECT_THAT(host().linesWith("FP[Thumb-"),
              ElementsAre("WARN FP[Thumb-#0 (1/4)] Failed to load thumbnail for /S/a. Reason: " +
                              description(failure),
                          "INFO FP[Thumb-#0 (4/4)] Loaded /S/d"));
}

TEST_F(ThumbnailTest, NoItemsCompleteOnTheMainThreadWithoutTheHost) {
  EXPECT_EQ(0, fetch({})->totalUnitCount());
  serve();
  EXPECT_EQ(1, completed_);
  EXPECT_THAT(host().calls(), IsEmpty());
}

TEST_F(ThumbnailTest, TheLastItemHasLeftBeforeItsHandlerRuns) {
  // The final completion runs although the only item's handler waits for it.
  auto completed = std::make_shared<std::promise<void>>();
  host().hold("/S/a");
  extension_.fetchThumbnailsForItemIdentifiers(
      {"/S/a"}, {},
      [completed](const std::string&, const std::optional<NSData>&, const std::optional<NSError>&) {
        completed->get_future().wait();
      },
      [completed](const std::optional<NSError>&) {
        completed->set_value();
        DispatchQueue::leaveMainQueue();
      });
  sent();
  std::jthread releasing([this] { host().release("/S/a"); });
  serve();
}

TEST_F(ThumbnailTest, AnswersFromSeveralThreadsAreAllCounted) {
  std::vector<std::string> paths;
  for (int i = 0; i < 200; ++i) paths.push_back("/S/" + std::to_string(i));
  for (const auto& path : paths) host().hold(path);
  const auto progress = fetch(paths);
  sent();
  {
    std::vector<std::jthread> threads;
    for (std::size_t first = 0; first < 4; ++first) {
      threads.emplace_back([&, first] {
        for (std::size_t i = first; i < paths.size(); i += 4) host().release(paths[i]);
      });
    }
  }
  serve();
  EXPECT_EQ(200, progress->completedUnitCount());
  EXPECT_EQ(200U, answers().size());
  EXPECT_EQ(1, completed_);
}

TEST_F(ThumbnailTest, ARequestThatIsNotAnsweredNeverCompletes) {
  client().setServer(nullptr);
  const auto progress = fetch({"/S/a"});
  progress->cancel();
  sent();
  DispatchQueue::leaveMainQueue();
  serve();
  EXPECT_EQ(0, completed_);
  EXPECT_EQ(0, progress->completedUnitCount());
  EXPECT_THAT(answers(), IsEmpty());
}

}  // namespace
}  // namespace zelto::test
