#include "hostapp/BackendErrors.h"
#include "tests/hostapp/HostFixture.h"

namespace zelto::test {
namespace {

class HostServiceTest : public HostFixture {};

// Every change, retold from what the server holds when the extension asks.
TEST_F(HostServiceTest, ChangesAreDescribedAsOfNow) {
  server.write("share/back", "1");
  server.write("share/late", "1");
  start();
  stop();
  {
    auto store = *HostStore::open(server.own("host.db"));
    store->saveChanges({{"/My Files/share/back", ChangeKind::deletion},
                        {"/My Files/share/gone", ChangeKind::update},
                        {"/My Files/share/late", ChangeKind::update},
                        {"/My Files", ChangeKind::update},
                        {"/Bookmarks", ChangeKind::update},
                        {"/nowhere", ChangeKind::update}});
  }
  start();
  server.write("share/late", "22");
  const auto changes = take();
  EXPECT_TRUE(changes.hasDeletion("/My Files/share/back") && changes.hasUpdate("/My Files/share/back"));
  EXPECT_TRUE(changes.hasDeletion("/My Files/share/gone"));
  EXPECT_FALSE(changes.hasUpdate("/My Files/share/gone"));
  EXPECT_EQ(2, changes.update("/My Files/share/late")->find("size")->integerValue());
  EXPECT_TRUE(changes.hasDeletion("/nowhere"));
  ASSERT_LE(4U, changes.updates.size());  // perhaps also the share, for its date
  int containers = 0;
  for (const auto& item : changes.updates) {
    if (item == containerDictionary(1) || item == containerDictionary(3)) ++containers;
  }
  EXPECT_EQ(2, containers);
}

TEST_F(HostServiceTest, ChangesWaitForTheConnectionThatTakesThem) {
  server.folder("share");
  start();
  list("/My Files/share");
  server.write("share/new", "x");
  ASSERT_TRUE(eventually([this] { return parts->journal->size() > 0; }));
  awaitUpdate("/My Files/share/new");
  reconnect();
  EXPECT_TRUE(take().hasUpdate("/My Files/share/new")) << "it may never have arrived";
  take();
  reconnect();
  EXPECT_TRUE(take().empty());
}

TEST_F(HostServiceTest, RangesComeWithTheirVersion) {
  server.write("share/file", std::string(10'000, 'x'));
  start();
  auto [reply, future] =
      awaited<std::optional<NSData>, std::optional<NSDictionary>, NSRange, std::optional<NSError>>();
  const auto progress =
      service->downloadItemWithPath("/My Files/share/file", {5000, 10}, 4096, std::move(reply));
  const auto [data, dictionary, range, error] = future.get();
  ASSERT_TRUE(data && dictionary && !error);
  EXPECT_EQ((NSRange{4096, 4096}), range);
  EXPECT_EQ(4096U, data->size());
  EXPECT_EQ(10'000, dictionary->find("size")->integerValue());
  EXPECT_TRUE(progress->isFinished());
  auto [badReply, badFuture] =
      awaited<std::optional<NSData>, std::optional<NSDictionary>, NSRange, std::optional<NSError>>();
  service->downloadItemWithPath("/My Files/share/none", {1, 2}, 0, std::move(badReply));
  const auto failed = badFuture.get();
  EXPECT_FALSE(std::get<0>(failed));
  EXPECT_TRUE(isNoSuchItem(*std::get<3>(failed)));
}

TEST(WorkerPoolTest, LongWorkNeverTakesAllThreads) {
  WorkerPool pool(3, 2);
  std::promise<void> gate;
  const auto open = gate.get_future().share();
  std::atomic<int> running = 0;
  std::atomic<int> tooMany = 0;
  std::atomic<int> ended = 0;
  for (int i = 0; i < 6; ++i) {
    pool.runLong([&] {
      if (++running > 2) ++tooMany;
      open.wait();
      --running;
      ++ended;
    });
  }
  ASSERT_TRUE(eventually([&] { return running == 2; }));
  std::promise<void> ran;
  pool.run([&] { ran.set_value(); });
  ran.get_future().get();
  gate.set_value();
  EXPECT_TRUE(eventually([&] { return ended == 6; }));
  EXPECT_EQ(0, tooMany);
  pool.stop();
  pool.run([] { FAIL() << "nothing runs after the end"; });
}

}  // namespace
}  // namespace zelto::test
