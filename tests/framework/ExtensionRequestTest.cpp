#include <filesystem>
#include <fstream>
#include <future>

#include <gtest/gtest.h>

#include "framework/propagation/ExtensionRequest.h"

namespace zelto::test {
namespace {

using namespace std::chrono_literals;

struct ExtensionRequestTest : ::testing::Test {
  using Handler = Completion<std::optional<NSURL>, int>;

  std::shared_ptr<ExtensionRequest> make(std::chrono::milliseconds patience = 1h) {
    return ExtensionRequest::make({deadlines, queue, patience}, [this] {
      ++unanswered;
      ended.set_value();
    });
  }
  Handler handlerOf(const std::shared_ptr<ExtensionRequest>& request) {
    return request->handler<std::optional<NSURL>, int>([this](const std::optional<NSURL>&, int value) {
      answers.push_back(value);
      ended.set_value();
    });
  }
  bool hasEnded() { return ended.get_future().wait_for(20s) == std::future_status::ready; }
  std::optional<NSURL> delivered() {
    const auto path =
        std::filesystem::temp_directory_path() / ("zelto-request-" + std::to_string(::getpid()));
    std::ofstream(path) << "bytes";
    return NSURL::fileURL(path.string());
  }

  Deadlines deadlines;
  std::shared_ptr<DispatchQueue> queue = std::make_shared<DispatchQueue>("request.test");
  std::promise<void> ended;
  std::vector<int> answers;  // used on the queue, read after `ended`
  int unanswered = 0;
};

TEST_F(ExtensionRequestTest, AnAnswerIsTakenOnTheQueueAlsoOneFromWithinTheCall) {
  const auto request = make();
  handlerOf(request)(std::nullopt, 7);
  queue->async([request] { request->follow(NSProgress::create()); });
  ASSERT_TRUE(hasEnded());
  queue->drain();
  EXPECT_EQ(answers, std::vector<int>{7});
  EXPECT_EQ(unanswered, 0);
}

TEST_F(ExtensionRequestTest, AHandlerThatIsDroppedEndsIt) {
  const auto request = make();
  static_cast<void>(handlerOf(request));
  ASSERT_TRUE(hasEnded());
  EXPECT_EQ(unanswered, 1);
}

TEST_F(ExtensionRequestTest, SilenceEndsItAndTheWorkIsCancelled) {
  const auto request = make(5ms);
  auto late = handlerOf(request);
  const auto progress = NSProgress::create();
  queue->async([&] { request->follow(progress); });
  ASSERT_TRUE(hasEnded());
  queue->drain();
  EXPECT_TRUE(progress->isCancelled());
  // What comes all the same is of no use to anybody.
  const auto url = delivered();
  late(url, 7);
  queue->drain();
  EXPECT_TRUE(answers.empty());
  EXPECT_FALSE(std::filesystem::exists(url->path()));
}

TEST_F(ExtensionRequestTest, ProgressIsPatience) {
  constexpr auto kPatience = 200ms;
  const auto request = make(kPatience);
  auto handler = handlerOf(request);
  const auto progress = NSProgress::create(1000);
  queue->async([&] { request->follow(progress); });
  const auto end = std::chrono::steady_clock::now() + 3 * kPatience;
  for (int step = 1; std::chrono::steady_clock::now() < end; ++step) progress->setCompletedUnitCount(step);
  handler(std::nullopt, 7);
  ASSERT_TRUE(hasEnded());
  queue->drain();
  EXPECT_EQ(answers, std::vector<int>{7});
}

TEST_F(ExtensionRequestTest, OneThatIsCancelledEndsWithoutAWord) {
  const auto request = make();
  auto handler = handlerOf(request);
  const auto progress = NSProgress::create();
  queue->async([&] {
    request->follow(progress);
    request->cancel();
  });
  queue->drain();
  EXPECT_TRUE(progress->isCancelled());
  handler(std::nullopt, 7);
  queue->drain();
  EXPECT_TRUE(answers.empty());
  EXPECT_EQ(unanswered, 0);
}

}  // namespace
}  // namespace zelto::test
