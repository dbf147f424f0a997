#include "platform/bus/BusConnection.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <future>
#include <utility>

#include <fmt/format.h>
#include <pthread.h>

#include "platform/bus/BusSignature.h"

namespace zelto {

namespace {

constexpr std::chrono::seconds kRuleLimit{10};

// The process's signals belong to its other threads.
std::thread startQuietly(std::shared_ptr<BusCore> core) {
  sigset_t all;
  sigset_t before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread thread([core = std::move(core)] {
    ::pthread_setname_np(::pthread_self(), "zelto-bus");
    core->run();
  });
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

}  // namespace

BusConnection::BusConnection(BusHandle bus)
    : core_(std::make_shared<BusCore>(std::move(bus))), thread_(startQuietly(core_)) {}

BusConnection::~BusConnection() {
  core_->stop();
  if (core_->onBusThread()) {
    thread_.detach();
  } else {
    thread_.join();
  }
}

std::optional<NSError> BusConnection::perform(std::move_only_function<std::optional<NSError>()> work) {
  if (core_->onBusThread()) return work();
  std::promise<std::optional<NSError>> promise;
  auto result = promise.get_future();
  auto refused =
      core_->queue()->post([&promise, work = std::move(work)]() mutable { promise.set_value(work()); },
                           BusTaskQueue::Limit::bounded);
  return refused ? refused : result.get();
}

std::optional<NSError> BusConnection::requestName(const std::string& name) {
  return perform([core = core_, name] { return core->requestName(name); });
}

std::optional<NSError> BusConnection::exportObject(const std::string& path, BusInterface interface) {
  return perform([core = core_, path, interface = std::move(interface)]() mutable {
    return core->objects().add(path, std::move(interface));
  });
}

void BusConnection::emitSignal(const std::string& path, const std::string& interface, const std::string& name,
                               const std::string& signature, BusArguments arguments) {
  auto problem = mismatch(signature, arguments);
  if (!problem) {
    const auto refused = core_->queue()->post(
        [core = core_, path, interface, name, arguments = std::move(arguments)] {
          core->emitSignal(path, interface, name, arguments);
        },
        BusTaskQueue::Limit::bounded);
    if (refused && refused->code() != ENOTCONN) problem = refused->localizedDescription();
  }
  if (problem) fmt::print(stderr, "zelto: the signal {} is not sent: {}\n", name, *problem);
}

void BusConnection::call(const Target& target, const std::string& method, const std::string& signature,
                         BusArguments arguments, std::uint64_t timeoutMicroseconds,
                         std::move_only_function<void(std::expected<BusArguments, NSError>)> completion) {
  auto outgoing = std::make_shared<BusOutgoingCall>(target, method, signature, std::move(arguments),
                                                    timeoutMicroseconds, std::move(completion));
  auto refused = core_->queue()->post([core = core_, outgoing] { core->calls().send(std::move(*outgoing)); },
                                      BusTaskQueue::Limit::bounded);
  if (refused) outgoing->completion(std::unexpected(*refused));
}

// The handle's end takes effect at once for calls that have not begun; the entry itself is removed by the
// bus thread.
template <typename Entry>
std::shared_ptr<void> BusConnection::listen(std::shared_ptr<Entry> entry) {
  const auto refused = core_->queue()->post([core = core_, entry] { core->matches().add(entry); },
                                            BusTaskQueue::Limit::always);
  if (refused) return nullptr;
  const std::weak_ptr<BusCore> weak = core_;
  return {static_cast<void*>(entry.get()), [weak, entry](void*) {
            entry->wanted = false;
            const auto core = weak.lock();
            if (!core) return;
            core->queue()->post(
                [weak, entry] {
                  if (const auto alive = weak.lock()) alive->matches().remove(entry.get());
                },
                BusTaskQueue::Limit::always);
          }};
}

std::shared_ptr<void> BusConnection::matchSignal(
    const std::string& path, const std::string& interface, const std::string& name,
    std::function<void(const std::string& sender, BusArguments)> handler) {
  auto match = std::make_shared<BusMatch>();
  if (auto rule = signalRule(path, interface, name)) match->rule = std::move(*rule);
  match->handler = std::move(handler);
  if (match->rule.empty()) return match;  // nothing can match a malformed rule
  const auto settled = match->settled.get_future();
  auto handle = listen(match);
  if (handle && !core_->onBusThread()) settled.wait_for(kRuleLimit);
  return handle;
}

std::shared_ptr<void> BusConnection::watchName(const std::string& name,
                                               std::function<void(bool present)> handler) {
  auto watch = std::make_shared<BusNameWatch>();
  watch->name = name;
  watch->handler = std::move(handler);
  auto handle = listen(watch);
  if (!handle) watch->handler(false);  // no bus, no names
  return handle;
}

}  // namespace zelto
