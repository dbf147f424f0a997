#include "platform/bus/BusCalls.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fmt/format.h>

#include "platform/bus/BusMessage.h"
#include "platform/bus/BusSignature.h"

namespace zelto {

namespace {

constexpr std::size_t kMostCalls = 4096;

NSError cannotCall(const BusOutgoingCall& call, int code, std::string_view reason) {
  return errorWithPOSIXCode(code, fmt::format("{}.{} of {} cannot be called: {}.", call.target.interface,
                                              call.method, call.target.service, reason));
}

// The library asserts on malformed names instead of refusing them in words.
std::optional<NSError> malformed(const BusOutgoingCall& call) {
  if (sd_bus_service_name_is_valid(call.target.service.c_str()) <= 0) {
    return cannotCall(call, EINVAL, "the service name is not valid");
  }
  if (sd_bus_object_path_is_valid(call.target.path.c_str()) <= 0) {
    return cannotCall(call, EINVAL, "the object path is not valid");
  }
  if (sd_bus_interface_name_is_valid(call.target.interface.c_str()) <= 0 ||
      sd_bus_member_name_is_valid(call.method.c_str()) <= 0) {
    return cannotCall(call, EINVAL, "the interface or method name is not valid");
  }
  if (const auto problem = mismatch(call.signature, call.arguments)) {
    return cannotCall(call, EINVAL, *problem);
  }
  return std::nullopt;
}

}  // namespace

void BusCalls::send(BusOutgoingCall call) {
  std::optional<NSError> error = malformed(call);
  if (!error && waiting_.size() >= kMostCalls)
    error = cannotCall(call, EAGAIN, "too many calls wait for a reply");
  if (error) return call.completion(std::unexpected(*error));

  auto waiting = std::make_unique<Waiting>();
  waiting->owner = this;
  waiting->number = ++lastNumber_;
  waiting->call = std::move(call);
  if (auto failure = start(*waiting)) return waiting->call.completion(std::unexpected(*failure));
  waiting_.emplace(waiting->number, std::move(waiting));
}

std::optional<NSError> BusCalls::start(Waiting& waiting) {
  const BusOutgoingCall& call = waiting.call;
  sd_bus_message* raw = nullptr;
  int result =
      sd_bus_message_new_method_call(bus_, &raw, call.target.service.c_str(), call.target.path.c_str(),
                                     call.target.interface.c_str(), call.method.c_str());
  const BusMessage message(raw);
  if (result < 0) return cannotCall(call, -result, std::strerror(-result));
  if (auto error = appendArguments(raw, call.arguments)) return error;
  sd_bus_slot* slot = nullptr;
  result = sd_bus_call_async(bus_, &slot, raw, &BusCalls::replied, &waiting, call.timeoutMicroseconds);
  waiting.slot.reset(slot);
  if (result < 0) return cannotCall(call, -result, std::strerror(-result));
  waiting.call.arguments.clear();
  return std::nullopt;
}

int BusCalls::replied(sd_bus_message* reply, void* userdata, sd_bus_error* /*error*/) {
  auto* waiting = static_cast<Waiting*>(userdata);
  const auto node = waiting->owner->waiting_.extract(waiting->number);
  auto& completion = waiting->call.completion;
  if (sd_bus_message_is_method_error(reply, nullptr) > 0) {
    completion(std::unexpected(errorFromBus(*sd_bus_message_get_error(reply))));
  } else {
    completion(readArguments(reply));
  }
  return 1;
}

void BusCalls::failAll(const NSError& error) {
  for (auto& [number, waiting] : std::exchange(waiting_, {})) {
    waiting->slot.reset();
    waiting->call.completion(std::unexpected(error));
  }
}

}  // namespace zelto
