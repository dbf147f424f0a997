#include "platform/bus/BusObjects.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fmt/format.h>

#include "platform/bus/BusMessage.h"
#include "platform/bus/BusSignature.h"

namespace zelto {

namespace {

constexpr std::size_t kMostUnanswered = 1024;

// What a handler's reply holds: sends the answer over the queue, and an error when it is dropped unused,
// since the caller would wait for its whole time-out otherwise.
class ReplyTicket {
 public:
  ReplyTicket(std::shared_ptr<BusTaskQueue> queue, std::weak_ptr<BusObjects> objects, std::uint64_t number)
      : queue_(std::move(queue)), objects_(std::move(objects)), number_(number) {}
  ReplyTicket(const ReplyTicket&) = delete;
  ReplyTicket& operator=(const ReplyTicket&) = delete;
  ~ReplyTicket() {
    send(std::unexpected(errorWithPOSIXCode(ECANCELED, "The request was dropped without an answer.")));
  }

  void send(std::expected<BusArguments, NSError> result) {
    if (std::exchange(sent_, true)) return;
    queue_->post(
        [objects = objects_, number = number_, result = std::move(result)]() mutable {
          if (const auto alive = objects.lock()) alive->answer(number, std::move(result));
        },
        BusTaskQueue::Limit::always);
  }

 private:
  std::shared_ptr<BusTaskQueue> queue_;
  std::weak_ptr<BusObjects> objects_;
  std::uint64_t number_;
  bool sent_ = false;
};

NSError cannotExport(const std::string& path, const BusInterface& interface, int code,
                     std::string_view reason) {
  return errorWithPOSIXCode(code,
                            fmt::format("{} cannot be offered at {}: {}.", interface.name, path, reason));
}

std::optional<std::string> malformed(const std::string& path, const BusInterface& interface) {
  const auto badMethod = [](const BusMethod& method) {
    return sd_bus_member_name_is_valid(method.name.c_str()) <= 0 || !method.handler ||
           !typesOfSignature(method.inSignature) || !typesOfSignature(method.outSignature);
  };
  const auto badSignal = [](const BusSignalDeclaration& signal) {
    return sd_bus_member_name_is_valid(signal.name.c_str()) <= 0 || !typesOfSignature(signal.signature);
  };
  if (sd_bus_object_path_is_valid(path.c_str()) <= 0) return "the object path is not valid";
  if (sd_bus_interface_name_is_valid(interface.name.c_str()) <= 0) return "the interface name is not valid";
  if (const auto bad = std::ranges::find_if(interface.methods, badMethod); bad != interface.methods.end()) {
    return fmt::format("the method {} is not well formed", bad->name);
  }
  if (const auto bad = std::ranges::find_if(interface.signals, badSignal); bad != interface.signals.end()) {
    return fmt::format("the signal {} is not well formed", bad->name);
  }
  return std::nullopt;
}

std::vector<sd_bus_vtable> tableOf(const BusInterface& interface, sd_bus_message_handler_t handler) {
  std::vector<sd_bus_vtable> table{SD_BUS_VTABLE_START(0)};
  for (const BusMethod& method : interface.methods) {
    table.push_back(SD_BUS_METHOD(method.name.c_str(), method.inSignature.c_str(),
                                  method.outSignature.c_str(), handler, SD_BUS_VTABLE_UNPRIVILEGED));
  }
  for (const BusSignalDeclaration& signal : interface.signals) {
    table.push_back(SD_BUS_SIGNAL(signal.name.c_str(), signal.signature.c_str(), 0));
  }
  table.push_back(SD_BUS_VTABLE_END);
  return table;
}

int setError(sd_bus_error* into, const NSError& error) {
  return sd_bus_error_set(into, busErrorName(error).c_str(), busErrorMessage(error).c_str());
}

}  // namespace

std::optional<NSError> BusObjects::add(const std::string& path, BusInterface interface) {
  if (const auto reason = malformed(path, interface)) return cannotExport(path, interface, EINVAL, *reason);
  auto object = std::make_unique<Object>();
  object->owner = this;
  object->interface = std::move(interface);
  object->table = tableOf(object->interface, &BusObjects::called);
  sd_bus_slot* slot = nullptr;
  const int result = sd_bus_add_object_vtable(bus_, &slot, path.c_str(), object->interface.name.c_str(),
                                              object->table.data(), object.get());
  if (result < 0) return cannotExport(path, object->interface, -result, std::strerror(-result));
  object->slot.reset(slot);
  objects_.push_back(std::move(object));
  return std::nullopt;
}

int BusObjects::called(sd_bus_message* message, void* userdata, sd_bus_error* error) {
  const auto* object = static_cast<const Object*>(userdata);
  const std::string_view member = sd_bus_message_get_member(message);
  const auto method = std::ranges::find(object->interface.methods, member, &BusMethod::name);
  if (method == object->interface.methods.end()) return 0;
  return object->owner->dispatch(*method, message, error);
}

int BusObjects::dispatch(const BusMethod& method, sd_bus_message* message, sd_bus_error* error) {
  if (calls_.size() >= kMostUnanswered) {
    return setError(error, errorWithPOSIXCode(EAGAIN, "Too many requests wait for an answer."));
  }
  auto arguments = readArguments(message);
  if (!arguments) return setError(error, arguments.error());
  const char* sender = sd_bus_message_get_sender(message);
  method.handler({sender == nullptr ? "" : sender, std::move(*arguments)}, replyFor(method, message));
  return 1;
}

BusReply BusObjects::replyFor(const BusMethod& method, sd_bus_message* message) {
  if (sd_bus_message_get_expect_reply(message) <= 0) return [](std::expected<BusArguments, NSError>) {};
  const std::uint64_t number = ++lastNumber_;
  calls_.emplace(number, Call{BusMessage(sd_bus_message_ref(message)), method.outSignature});
  return [ticket = std::make_unique<ReplyTicket>(queue_, weak_from_this(), number)](
             std::expected<BusArguments, NSError> result) { ticket->send(std::move(result)); };
}

void BusObjects::answer(std::uint64_t number, std::expected<BusArguments, NSError> result) {
  const auto node = calls_.extract(number);
  if (node.empty()) return;
  sd_bus_message* call = node.mapped().message.get();
  if (result) {
    if (const auto problem = mismatch(node.mapped().outSignature, *result)) {
      result = std::unexpected(errorWithPOSIXCode(EPROTO, "The answer is malformed: " + *problem));
    }
  }
  sd_bus_message* raw = nullptr;
  if (result && sd_bus_message_new_method_return(call, &raw) >= 0) {
    if (auto failure = appendArguments(raw, *result)) result = std::unexpected(*failure);
  }
  const BusMessage reply(raw);
  if (result) {
    sd_bus_send(bus_, raw, nullptr);
  } else {
    sd_bus_reply_method_errorf(call, busErrorName(result.error()).c_str(), "%s",
                               busErrorMessage(result.error()).c_str());
  }
}

void BusObjects::clear() {
  calls_.clear();
  objects_.clear();
}

}  // namespace zelto
