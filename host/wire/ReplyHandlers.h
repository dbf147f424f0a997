#pragma once

#include <memory>
#include <utility>

#include "host/wire/ListingCodec.h"
#include "host/wire/ResultCodec.h"
#include "platform/messaging/NSXPCInterface.h"

namespace zelto::wire {

// Collects a listing's parts, then runs `deliver(collector)`.
template <typename Deliver>
class ListingHandler final : public XPCReplyHandler {
 public:
  explicit ListingHandler(Deliver deliver) : deliver_(std::move(deliver)) {}

  XPCViolation receivePart(XPCMessage part) override { return collector_.add(part); }
  XPCViolation receiveReply(XPCMessage reply) override {
    if (auto violation = collector_.add(reply)) return violation;
    deliver_(collector_);
    return std::nullopt;
  }

 private:
  ListingCollector collector_;
  Deliver deliver_;
};

// Runs `deliver(result)` with the reply of an operation on one item.
template <typename Deliver>
class ResultHandler final : public XPCReplyHandler {
 public:
  explicit ResultHandler(Deliver deliver) : deliver_(std::move(deliver)) {}

  XPCViolation receivePart(XPCMessage) override { return "a part of a reply that comes whole"; }
  XPCViolation receiveReply(XPCMessage reply) override {
    auto result = decodeResult(reply);
    if (!result) return std::move(result.error());
    deliver_(std::move(*result));
    return std::nullopt;
  }

 private:
  Deliver deliver_;
};

template <typename Deliver>
std::unique_ptr<XPCReplyHandler> onListing(Deliver deliver) {
  return std::make_unique<ListingHandler<Deliver>>(std::move(deliver));
}

template <typename Deliver>
std::unique_ptr<XPCReplyHandler> onResult(Deliver deliver) {
  return std::make_unique<ResultHandler<Deliver>>(std::move(deliver));
}

}  // namespace zelto::wire
