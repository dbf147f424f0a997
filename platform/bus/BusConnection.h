#pragma once

#include <memory>
#include <thread>

#include "platform/bus/BusCore.h"
#include "platform/bus/SessionBus.h"

namespace zelto {

// The session bus over the system's library; each operation is handed to the bus thread.
class BusConnection : public SessionBus {
 public:
  explicit BusConnection(BusHandle bus);
  // Ends the thread; on the bus thread itself, lets it end after the running handler. Calls without a
  // reply are completed with an error.
  ~BusConnection() override;
  BusConnection(const BusConnection&) = delete;
  BusConnection& operator=(const BusConnection&) = delete;

  std::optional<NSError> requestName(const std::string& name) override;
  std::optional<NSError> exportObject(const std::string& path, BusInterface interface) override;
  void emitSignal(const std::string& path, const std::string& interface, const std::string& name,
                  const std::string& signature, BusArguments arguments) override;
  void call(const Target& target, const std::string& method, const std::string& signature,
            BusArguments arguments, std::uint64_t timeoutMicroseconds,
            std::move_only_function<void(std::expected<BusArguments, NSError>)> completion) override;
  std::shared_ptr<void> matchSignal(
      const std::string& path, const std::string& interface, const std::string& name,
      std::function<void(const std::string& sender, BusArguments)> handler) override;
  std::shared_ptr<void> watchName(const std::string& name,
                                  std::function<void(bool present)> handler) override;
  bool onBusThread() const override { return core_->onBusThread(); }

 private:
  // BLOCKS: until the bus thread has done it.
  std::optional<NSError> perform(std::move_only_function<std::optional<NSError>()> work);
  template <typename Entry>
  std::shared_ptr<void> listen(std::shared_ptr<Entry> entry);

  std::shared_ptr<BusCore> core_;
  std::thread thread_;
};

}  // namespace zelto
