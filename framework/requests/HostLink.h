#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "framework/requests/Deadlines.h"

namespace zelto {

// Whether there is a host application behind the extension. The extension itself never tells, so the
// framework goes by the bus: a host is present once it has taken an endpoint and signalled that it is
// ready, and lost when its process leaves the bus.
// THREAD: any. Observers run with no lock held, on the thread that told of the change.
class HostLink {
 public:
  // A host that took an endpoint and signals nothing counts as ready after `grace`.
  HostLink(Deadlines& deadlines, std::chrono::milliseconds grace);
  ~HostLink();

  bool present() const;

  // The observer hears true and false in turn. REQUIRES: all observers are added before the first event.
  void addObserver(std::function<void(bool present)> observer);

  // A peer (its unique bus name) was given an endpoint.
  void endpointTaken(const std::string& peer);
  // A peer signalled; only the last one that took an endpoint counts.
  void ready(const std::string& peer);
  void peerLeft(const std::string& peer);

 private:
  void announce(bool present);

  Deadlines& deadlines_;
  const std::chrono::milliseconds grace_;
  mutable std::mutex mutex_;
  std::string peer_;
  bool present_ = false;
  Deadlines::Ticket graceTicket_ = 0;
  std::vector<std::function<void(bool)>> observers_;
};

}  // namespace zelto
