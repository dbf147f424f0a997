#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "platform/bus/BusCalls.h"
#include "platform/bus/BusHandles.h"
#include "platform/bus/BusMatches.h"
#include "platform/bus/BusObjects.h"
#include "platform/bus/BusTaskQueue.h"

namespace zelto {

// Everything that the bus thread touches. The thread keeps it alive, so that the connection may be
// dropped from one of its own handlers.
// THREAD: the bus thread, except where noted.
class BusCore {
 public:
  explicit BusCore(BusHandle bus);

  // THREAD: any.
  const std::shared_ptr<BusTaskQueue>& queue() const { return queue_; }
  bool onBusThread() const { return thread_.load() == std::this_thread::get_id(); }
  void stop();

  // The thread's body. Returns when stopped, or when the bus has gone.
  void run();

  std::optional<NSError> requestName(const std::string& name);
  void emitSignal(const std::string& path, const std::string& interface, const std::string& name,
                  const BusArguments& arguments);
  BusObjects& objects() { return *objects_; }
  BusCalls& calls() { return calls_; }
  BusMatches& matches() { return matches_; }

 private:
  void loop();
  void runTasks();

  BusHandle bus_;
  std::shared_ptr<BusTaskQueue> queue_;
  std::shared_ptr<BusObjects> objects_;
  BusCalls calls_;
  BusMatches matches_;
  std::atomic<std::thread::id> thread_;
  std::atomic<bool> stopped_ = false;
};

}  // namespace zelto
