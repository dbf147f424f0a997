#include <cerrno>
#include <filesystem>
#include <future>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "platform/bus/SessionBus.h"
#include "tests/bus/PrivateBus.h"

namespace zelto {
namespace {

constexpr std::uint64_t kSecond = 1'000'000;
constexpr std::uint64_t kLong = 20 * kSecond;
const SessionBus::Target kTarget{test::kTestName, "/it/pellam/Zelto/Test", "it.pellam.Zelto.Test1"};

// A service with one method per behaviour, and a caller on a connection of its own.
class BusCallTest : public testing::Test {
 protected:
  void SetUp() override {
    private_.start();
    service_ = connect();
    caller_ = connect();
    ASSERT_FALSE(service_->exportObject(kTarget.path, interface()));
    ASSERT_FALSE(service_->requestName(test::kTestName));
  }

  static std::shared_ptr<SessionBus> connect() {
    auto bus = SessionBus::connect();
    EXPECT_TRUE(bus) << bus.error().localizedDescription();
    return bus ? *bus : nullptr;
  }

  BusInterface interface() {
    const auto echo = [](BusMethodCall call, BusReply reply) { reply(std::move(call.arguments)); };
    return {kTarget.interface,
            {{"Echo", "saybiuxtdhasa{sv}aay", "saybiuxtdhasa{sv}aay", echo},
             {"Text", "s", "s", echo},
             {"Texts", "as", "as", echo},
             {"Wrong", "", "s", [](BusMethodCall, BusReply reply) { reply(BusArguments{std::uint32_t{1}}); }},
             {"Fail", "", "", [this](BusMethodCall, BusReply reply) { reply(std::unexpected(failure_)); }},
             {"Drop", "", "", [](BusMethodCall, BusReply) {}},
             {"Keep", "", "s", [this](BusMethodCall, BusReply reply) { kept_.set_value(std::move(reply)); }}},
            {}};
  }

  std::expected<BusArguments, NSError> call(const std::string& method, const std::string& signature = "",
                                            BusArguments arguments = {}, std::uint64_t timeout = kLong) {
    return caller_->callAndWait(kTarget, method, signature, std::move(arguments), timeout);
  }

  test::PrivateBus private_;
  // Used by handlers, so they outlive the connections.
  NSError failure_{NSPOSIXErrorDomain, ENOENT, {{NSLocalizedDescriptionKey, "no such thing"}}};
  std::promise<BusReply> kept_;
  std::shared_ptr<SessionBus> service_;
  std::shared_ptr<SessionBus> caller_;
};

TEST_F(BusCallTest, CarriesEveryTypeThereAndBack) {
  int ends[2];
  ASSERT_EQ(0, ::pipe2(ends, O_CLOEXEC));
  const UniqueDescriptor reader(ends[0]);
  auto writer = std::make_shared<UniqueDescriptor>(ends[1]);
  const std::string path("/\xff\0/b", 5);
  const std::vector<std::string> texts{"", "zwei", "drei ☃"};

  const auto reply = call("Echo", "saybiuxtdhasa{sv}aay",
                          {std::string("grüß"), BusBytes{path}, true, std::int32_t{-7}, std::uint32_t{7},
                           std::int64_t{INT64_MIN}, std::uint64_t{UINT64_MAX}, 2.5, writer, texts,
                           BusOptions{{{"name", "value"}, {"", ""}}}, std::vector<BusBytes>{{path}, {}}});

  ASSERT_TRUE(reply) << reply.error().localizedDescription();
  ASSERT_EQ(12U, reply->size());
  EXPECT_EQ("grüß", std::get<std::string>((*reply)[0]));
  EXPECT_EQ(path, std::get<BusBytes>((*reply)[1]).bytes);
  EXPECT_TRUE(std::get<bool>((*reply)[2]));
  EXPECT_EQ(-7, std::get<std::int32_t>((*reply)[3]));
  EXPECT_EQ(7U, std::get<std::uint32_t>((*reply)[4]));
  EXPECT_EQ(INT64_MIN, std::get<std::int64_t>((*reply)[5]));
  EXPECT_EQ(UINT64_MAX, std::get<std::uint64_t>((*reply)[6]));
  EXPECT_EQ(2.5, std::get<double>((*reply)[7]));
  EXPECT_EQ(texts, std::get<std::vector<std::string>>((*reply)[9]));
  EXPECT_EQ((std::map<std::string, std::string>{{"name", "value"}, {"", ""}}),
            std::get<BusOptions>((*reply)[10]).texts);
  const auto& arrays = std::get<std::vector<BusBytes>>((*reply)[11]);
  ASSERT_EQ(2U, arrays.size());
  EXPECT_EQ(path, arrays[0].bytes);
  EXPECT_EQ("", arrays[1].bytes);

  const auto& received = std::get<std::shared_ptr<UniqueDescriptor>>((*reply)[8]);
  ASSERT_EQ(1, ::write(received->get(), "x", 1));
  char byte = 0;
  EXPECT_EQ(1, ::read(reader.get(), &byte, 1));
  EXPECT_EQ('x', byte);
}

TEST_F(BusCallTest, RefusesWhatDoesNotFitTheSignature) {
  auto reply = call("Text", "s", {std::uint32_t{1}});
  ASSERT_FALSE(reply);
  EXPECT_EQ(EINVAL, reply.error().code());
  EXPECT_NE(std::string::npos, reply.error().localizedDescription().find("\"u\", not \"s\""));

  reply = call("Text", "u", {std::uint32_t{1}});
  ASSERT_FALSE(reply);  // fits its own signature, not the service's
  EXPECT_NE(std::string::npos, reply.error().localizedDescription().find("Text"));

  EXPECT_FALSE(call("Text", "s", {std::string("\xff")}));
  EXPECT_FALSE(call("Text", "s", {std::string("a\0b", 3)}));
  EXPECT_FALSE(call("Text", "h", {std::make_shared<UniqueDescriptor>()}));
  EXPECT_FALSE(call("Text", "a{sv}"));
  EXPECT_FALSE(call("Texts", "as", {std::vector<std::string>(70000, "x")}));
  EXPECT_FALSE(call("No.Method"));
  EXPECT_TRUE(call("Text", "s", {std::string("still served")}));
}

TEST_F(BusCallTest, ReportsAMalformedAnswerToTheCaller) {
  const auto reply = call("Wrong");
  ASSERT_FALSE(reply);
  EXPECT_EQ(EPROTO, reply.error().code());
}

TEST_F(BusCallTest, ErrorsKeepDomainCodeAndDescription) {
  for (const NSError& error :
       {NSError("NSFileProviderErrorDomain", -1005, {{NSLocalizedDescriptionKey, "nicht da: ü"}}),
        NSError(NSCocoaErrorDomain, 4, {{NSLocalizedDescriptionKey, "%s %n"}}), failure_}) {
    failure_ = error;
    const auto reply = call("Fail");
    ASSERT_FALSE(reply);
    EXPECT_EQ(error, reply.error());
  }
  // A bus would cut off the sender of ill-formed text.
  failure_ = NSError("My Domain", 1, {{NSLocalizedDescriptionKey, "bad \xff byte"}});
  EXPECT_EQ("bad ? byte", call("Fail").error().localizedDescription());
  EXPECT_TRUE(call("Text", "s", {std::string("still connected")}));
}

TEST_F(BusCallTest, AnswersLaterFromAnotherThreadAndOnlyOnce) {
  auto future = std::async(std::launch::async, [this] { return call("Keep"); });
  BusReply reply = kept_.get_future().get();
  std::thread([&reply] {
    reply(BusArguments{std::string("first")});
    reply(BusArguments{std::string("second")});
  }).join();
  const auto answer = future.get();
  ASSERT_TRUE(answer);
  EXPECT_EQ("first", std::get<std::string>(answer->at(0)));
  EXPECT_TRUE(call("Text", "s", {std::string("x")}));
}

TEST_F(BusCallTest, ADroppedReplyIsAnError) {
  const auto reply = call("Drop");
  ASSERT_FALSE(reply);
  EXPECT_EQ(ECANCELED, reply.error().code());
}

TEST_F(BusCallTest, TimesOutAndFindsNobody) {
  auto reply = call("Keep", "", {}, kSecond / 20);
  ASSERT_FALSE(reply);
  EXPECT_EQ(ETIMEDOUT, reply.error().code());

  reply = caller_->callAndWait({"it.pellam.Zelto.Nobody", "/x", "a.b"}, "C", "", {}, kLong);
  ASSERT_FALSE(reply);
  EXPECT_EQ(EHOSTUNREACH, reply.error().code());

  for (const SessionBus::Target& bad :
       {SessionBus::Target{"", "/x", "a.b"}, SessionBus::Target{test::kTestName, "x", "a.b"},
        SessionBus::Target{test::kTestName, "/x", "b"}}) {
    EXPECT_EQ(EINVAL, caller_->callAndWait(bad, "C", "", {}, kLong).error().code());
  }
}

TEST_F(BusCallTest, WaitingOnTheBusThreadIsRefused) {
  std::promise<std::int64_t> code;
  caller_->call(kTarget, "Text", "s", {std::string("x")}, kLong, [&](std::expected<BusArguments, NSError>) {
    code.set_value(call("Text", "s", {std::string("x")}).error().code());
  });
  EXPECT_EQ(EDEADLK, code.get_future().get());
}

TEST_F(BusCallTest, ANameIsTakenOnce) {
  const auto error = caller_->requestName(test::kTestName);
  ASSERT_TRUE(error);
  EXPECT_EQ(EEXIST, error->code());
  EXPECT_FALSE(service_->requestName(test::kTestName));  // ours already
  EXPECT_TRUE(caller_->requestName("not a name"));
  EXPECT_TRUE(service_->exportObject(kTarget.path, interface()));
  EXPECT_TRUE(service_->exportObject("relative", interface()));
}

TEST_F(BusCallTest, TheLossOfTheBusEndsWhatWaits) {
  auto future = std::async(std::launch::async, [this] { return call("Keep"); });
  BusReply reply = kept_.get_future().get();
  private_.stop();
  EXPECT_FALSE(future.get());
  reply(BusArguments{std::string("too late")});

  // Whatever the loss interrupts first, in the end everything is refused at once.
  while (service_->requestName("it.pellam.Zelto.Other")->code() != ENOTCONN) std::this_thread::yield();
  std::int64_t code = 0;
  while ((code = call("Text", "s", {std::string("x")}).error().code()) != ENOTCONN) std::this_thread::yield();
  EXPECT_EQ(ENOTCONN, code);
}

TEST_F(BusCallTest, AConnectionMayBeDroppedInItsOwnHandler) {
  std::promise<void> dropped;
  auto* raw = caller_.get();
  raw->call(kTarget, "Text", "s", {std::string("x")}, kLong, [&](std::expected<BusArguments, NSError> reply) {
    EXPECT_TRUE(reply);
    caller_.reset();
    dropped.set_value();
  });
  dropped.get_future().get();

  // Calls that wait when the connection goes are completed too.
  caller_ = connect();
  std::promise<std::int64_t> code;
  caller_->call(kTarget, "Keep", "", {}, kLong, [&](std::expected<BusArguments, NSError> reply) {
    code.set_value(reply ? 0 : reply.error().code());
  });
  const BusReply kept = kept_.get_future().get();
  caller_.reset();
  EXPECT_EQ(ENOTCONN, code.get_future().get());
}

TEST_F(BusCallTest, ServesManyThreadsAndLeavesNoDescriptor) {
  const auto open = [] {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
  };
  const auto before = open();
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([this, number] {
      const auto own = connect();
      for (int round = 0; round < 50; ++round) {
        const std::string text = fmt::format("{}/{}", number, round);
        for (SessionBus* bus : {own.get(), caller_.get()}) {
          const auto reply = bus->callAndWait(kTarget, "Text", "s", {text}, kLong);
          ASSERT_TRUE(reply) << reply.error().localizedDescription();
          EXPECT_EQ(text, std::get<std::string>(reply->at(0)));
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(before, open());
}

}  // namespace
}  // namespace zelto
