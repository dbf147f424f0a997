#include "framework/requests/HostLink.h"

#include <utility>

namespace zelto {

HostLink::HostLink(Deadlines& deadlines, std::chrono::milliseconds grace)
    : deadlines_(deadlines), grace_(grace) {}

HostLink::~HostLink() { deadlines_.cancel(graceTicket_); }

bool HostLink::present() const {
  const std::lock_guard lock(mutex_);
  return present_;
}

void HostLink::addObserver(std::function<void(bool)> observer) { observers_.push_back(std::move(observer)); }

void HostLink::endpointTaken(const std::string& peer) {
  bool lost = false;
  {
    const std::lock_guard lock(mutex_);
    // A new endpoint makes a new connection: what was asked through the old one is never answered.
    lost = std::exchange(present_, false);
    peer_ = peer;
    deadlines_.cancel(graceTicket_);
    graceTicket_ = deadlines_.schedule(Deadlines::Clock::now() + grace_, [this, peer] { ready(peer); });
  }
  if (lost) announce(false);
}

void HostLink::ready(const std::string& peer) {
  {
    const std::lock_guard lock(mutex_);
    if (peer != peer_ || present_) return;
    present_ = true;
    deadlines_.cancel(graceTicket_);
  }
  announce(true);
}

void HostLink::peerLeft(const std::string& peer) {
  bool lost = false;
  {
    const std::lock_guard lock(mutex_);
    if (peer != peer_) return;
    peer_.clear();
    deadlines_.cancel(graceTicket_);
    lost = std::exchange(present_, false);
  }
  if (lost) announce(false);
}

void HostLink::announce(bool present) {
  for (const auto& observer : observers_) observer(present);
}

}  // namespace zelto
