// How fast the private connection between the extension and its host is: two processes, one endpoint, the
// whole way from a call on the proxy to its completion. Prints one line for each figure.
//
// Usage: wire_bench [rounds]

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/ZeltoFileProviderClientInterface.h"
#include "host/ZeltoFileProviderServerInterface.h"
#include "host/wire/Interfaces.h"
#include "platform/messaging/NSXPCConnection.h"
#include "platform/messaging/SharedBlock.h"

namespace zelto {
namespace {

using Clock = std::chrono::steady_clock;

NSDictionary item(int number) {
  return {{"path", fmt::format("/Projects/Drawings/a rather long file name {}.dwg", number)},
          {"filename", fmt::format("a rather long file name {}.dwg", number)},
          {"itemType", 8},
          {"size", std::int64_t{4096} * number},
          {"creationDate", NSDate::sinceReferenceDate(700000000.25 + number)},
          {"modificationDate", NSDate::sinceReferenceDate(700000001.125 + number)},
          {"canWrite", true},
          {"canDelete", true},
          {"canRename", false},
          {"mimeType", "application/acad"}};
}

// Answers at once: a listing of as many items as its path says, a range of as many bytes as asked.
class BenchHost final : public ZeltoFileProviderServerInterface {
 public:
  void enumeratorInvalidatedPath(const std::string&) override {}
  void retrieveChangesWithCompletion(ChangesReply) override {}
  void metadataForSharesWithCompletion(ListReply) override {}
  void metadataForBookmarksWithCompletion(ListReply) override {}
  void metadataForDirectory(const std::string& path, bool, ListReply completion) override {
    // Made beforehand, so that only the transport is measured.
    auto count = static_cast<std::size_t>(std::stoul(path));
    while (items_.size() < count) items_.push_back(item(static_cast<int>(items_.size())));
    completion(DictionaryList(items_.begin(), items_.begin() + static_cast<std::ptrdiff_t>(count)));
  }
  void metadataForDirectoryWithBookmarkPath(const std::string&, ListReply) override {}
  void metadataForRootOfflineFilesWithCompletion(ListReply) override {}
  void showCustomFieldsForPath(const std::string&) override {}
  void openWithOfficeOnlineForPath(const std::string&) override {}
  void openWithOffice365ForPath(const std::string&) override {}
  void makeAvailableOfflineForPath(const std::string&) override {}
  void removeFromOfflineFilesForPath(const std::string&) override {}
  void addBookmarkForPath(const std::string&) override {}
  void removeBookmarkForPath(const std::string&) override {}
  void refreshMyFiles() override {}
  void refreshDirectoryForPath(const std::string&, bool) override {}
  void showCheckoutStatusForPath(const std::string&) override {}
  void checkInFileAtPath(const std::string&) override {}
  void checkOutFileAtPath(const std::string&) override {}
  void thumbnailForPath(const std::string&, ThumbnailReply completion) override {
    completion(NSData::copyOf("picture"), std::nullopt);
  }
  std::shared_ptr<NSProgress> uploadFileWithPath(const std::string&, const std::optional<NSURL>&, bool,
                                                 const std::optional<NSDate>&, FileReply) override {
    return NSProgress::create();
  }
  std::shared_ptr<NSProgress> createDirectoryWithPath(const std::string&, bool, FileReply) override {
    return NSProgress::create();
  }
  std::shared_ptr<NSProgress> deleteItemWithPath(const std::string&, ErrorReply completion) override {
    completion(std::nullopt);
    return NSProgress::create();
  }
  std::shared_ptr<NSProgress> moveItemWithPath(const std::string&, const std::string&, FileReply) override {
    return NSProgress::create();
  }
  std::shared_ptr<NSProgress> downloadItemWithPath(const std::string&, DownloadReply) override {
    return NSProgress::create();
  }
  std::shared_ptr<NSProgress> downloadItemWithPath(const std::string& path, NSRange range, std::int64_t,
                                                   RangeReply completion) override {
    auto data = path == "/shared" ? shared(range.length) : ordinary(range.length);
    completion(std::move(data), NSDictionary(), range, std::nullopt);
    return NSProgress::create();
  }
  void logMessage(const std::string&, const std::string&, const std::string&, bool, std::int32_t) override {}

 private:
  static NSData ordinary(std::size_t size) { return NSData(std::vector<std::byte>(size, std::byte{1})); }
  static NSData shared(std::size_t size) {
    auto block = SharedBlock::allocate(size);
    std::ranges::fill(block->bytes(), std::byte{1});
    return std::move(*block).seal(size).value_or(NSData());
  }

  DictionaryList items_;
};

class BenchExtension final : public NSXPCListenerDelegate, public ZeltoFileProviderClientInterface {
 public:
  bool listenerShouldAcceptNewConnection(NSXPCListener&,
                                         const std::shared_ptr<NSXPCConnection>& connection) override {
    connection->setRemoteObjectInterface(makeServerInterface());
    connection->resume();
    std::scoped_lock lock(mutex_);
    server_ = connection->remoteObjectProxy<ZeltoFileProviderServerInterface>();
    connected_.notify_all();
    return true;
  }
  void disconnect() override {}
  void updateUseMyFiles(bool, bool) override {}

  std::shared_ptr<ZeltoFileProviderServerInterface> server() {
    std::unique_lock lock(mutex_);
    connected_.wait(lock, [this] { return server_ != nullptr; });
    return server_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable connected_;
  std::shared_ptr<ZeltoFileProviderServerInterface> server_;
};

[[noreturn]] void runHost(const NSXPCListenerEndpoint& endpoint) {
  auto connection = NSXPCConnection::connectionWithListenerEndpoint(endpoint);
  if (!connection) std::_Exit(1);
  (*connection)->setExportedInterface(makeServerInterface());
  (*connection)
      ->setExportedObject(
          std::static_pointer_cast<ZeltoFileProviderServerInterface>(std::make_shared<BenchHost>()));
  (*connection)->setInvalidationHandler([] { std::_Exit(0); });
  (*connection)->resume();
  while (true) ::pause();
}

// Counts completions; the test waits for a number of them.
class Counter {
 public:
  void add() {
    std::scoped_lock lock(mutex_);
    ++count_;
    changed_.notify_all();
  }
  void waitFor(int count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return count_ >= count; });
  }
  int count() {
    std::scoped_lock lock(mutex_);
    return count_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int count_ = 0;
};

double microseconds(Clock::time_point from) {
  return std::chrono::duration<double, std::micro>(Clock::now() - from).count();
}

double median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

double onceMicroseconds(const std::function<void(Counter&)>& call) {
  Counter counter;
  auto start = Clock::now();
  call(counter);
  counter.waitFor(1);
  return microseconds(start);
}

double medianMicroseconds(int rounds, const std::function<void(Counter&)>& call) {
  std::vector<double> times;
  for (int i = 0; i < rounds; ++i) times.push_back(onceMicroseconds(call));
  return median(std::move(times));
}

using Server = ZeltoFileProviderServerInterface;

void measureCalls(Server& server) {
  auto small = [&](Counter& counter) {
    server.thumbnailForPath("/p", [&counter](auto, auto) { counter.add(); });
  };
  auto withProgress = [&](Counter& counter) {
    server.deleteItemWithPath("/p", [&counter](auto) { counter.add(); });
  };
  fmt::print("small call, median round trip          {:8.1f} us\n", medianMicroseconds(20'000, small));
  fmt::print("small call with progress               {:8.1f} us\n", medianMicroseconds(20'000, withProgress));

  constexpr int kCalls = 200'000;
  constexpr int kOutstanding = 64;
  Counter counter;
  auto start = Clock::now();
  for (int i = 0; i < kCalls; ++i) {
    counter.waitFor(i - kOutstanding + 1);
    small(counter);
  }
  counter.waitFor(kCalls);
  fmt::print("calls a second, {} outstanding         {:8.0f}\n", kOutstanding,
             kCalls / microseconds(start) * 1e6);
}

void measureListing(Server& server, std::size_t count, int rounds) {
  auto list = [&](Counter& counter) {
    server.metadataForDirectory(std::to_string(count), false, [&counter](auto) { counter.add(); });
  };
  onceMicroseconds(list);
  fmt::print("listing of {:7} items, median          {:8.1f} ms\n", count,
             medianMicroseconds(rounds, list) / 1e3);
}

void measureCallDuringListing(Server& server) {
  Counter listed;
  std::vector<double> times;
  server.metadataForDirectory("100000", false, [&listed](auto) { listed.add(); });
  while (listed.count() == 0)
    times.push_back(onceMicroseconds(
        [&](Counter& counter) { server.thumbnailForPath("/p", [&counter](auto, auto) { counter.add(); }); }));
  fmt::print("small call during it: median, worst    {:8.1f} ms, {:.1f} ms\n", median(times) / 1e3,
             *std::ranges::max_element(times) / 1e3);
}

void measureBlocks(Server& server, int rounds) {
  for (const char* path : {"/ordinary", "/shared"}) {
    for (std::uint64_t size : {std::uint64_t{1} << 20, std::uint64_t{16} << 20}) {
      auto fetch = [&](Counter& counter) {
        server.downloadItemWithPath(path, NSRange{0, size}, 1,
                                    [&counter](auto, auto, NSRange, auto) { counter.add(); });
      };
      fmt::print("{:9} block of {:2} MiB, median         {:8.2f} ms\n", path + 1, size >> 20,
                 medianMicroseconds(rounds * 4, fetch) / 1e3);
    }
  }
}

void measureLog(Server& server) {
  constexpr int kLines = 200'000;
  auto start = Clock::now();
  for (int i = 0; i < kLines; ++i)
    server.logMessage("FP[List] Listing '/Projects/Drawings' (Count=100)", "Debug", "05 Mar 2024 14:03:27",
                      false, 1);
  double sent = microseconds(start);
  onceMicroseconds(
      [&](Counter& counter) { server.thumbnailForPath("/p", [&counter](auto, auto) { counter.add(); }); });
  fmt::print("log lines a second: sent, received     {:8.0f}, {:.0f}\n", kLines / sent * 1e6,
             kLines / microseconds(start) * 1e6);
}

int run(int rounds) {
  if (std::getenv("ZELTO_BENCH_MALLOC") != nullptr) {
    ::mallopt(M_ARENA_MAX, 2);
    ::mallopt(M_TRIM_THRESHOLD, 256 << 20);
  }
  BenchExtension extension;
  auto listener = NSXPCListener::anonymousListener();
  auto endpoint = listener->endpoint();
  pid_t host = ::fork();
  if (host == 0) runHost(*endpoint);
  listener->setDelegate(&extension);
  listener->resume();
  auto server = extension.server();
  measureCalls(*server);
  measureListing(*server, 10'000, rounds);
  measureListing(*server, 100'000, rounds);
  measureCallDuringListing(*server);
  measureBlocks(*server, rounds);
  measureLog(*server);
  std::fflush(stdout);
  // The threads hold what this function owns.
  ::kill(host, SIGKILL);
  ::waitpid(host, nullptr, 0);
  std::_Exit(0);
}

}  // namespace
}  // namespace zelto

int main(int argumentCount, char** arguments) {
  return zelto::run(argumentCount > 1 ? std::atoi(arguments[1]) : 7);
}
