#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/foundation/NSError.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// The D-Bus types that our interfaces use. Paths travel as byte arrays, since they need not be UTF-8.
struct BusBytes {
  std::string bytes;
};
// What others' interfaces take as options (a{sv}); only texts are written, and only texts are read.
struct BusOptions {
  std::map<std::string, std::string> texts;
};
using BusArgument = std::variant<std::string, BusBytes, bool, std::int32_t, std::uint32_t, std::int64_t,
                                 std::uint64_t, double, std::shared_ptr<UniqueDescriptor>,
                                 std::vector<std::string>, BusOptions, std::vector<BusBytes>>;
// Signature letters: s, ay, b, i, u, x, t, d, h, as, a{sv}, aay.
using BusArguments = std::vector<BusArgument>;

struct BusMethodCall {
  std::string sender;  // the caller's unique name
  BusArguments arguments;
};
// Answers a method call exactly once, from any thread, at once or later.
using BusReply = std::move_only_function<void(std::expected<BusArguments, NSError>)>;

struct BusMethod {
  std::string name;
  std::string inSignature;  // of the letters above, e.g. "says"
  std::string outSignature;
  // Runs on the bus thread; long work belongs elsewhere. A reply that is dropped uncalled answers with an
  // error.
  std::function<void(BusMethodCall, BusReply)> handler;
};
struct BusSignalDeclaration {
  std::string name;
  std::string signature;
};
struct BusInterface {
  std::string name;
  std::vector<BusMethod> methods;
  std::vector<BusSignalDeclaration> signals;
};

// One connection to the user's session bus, served by a thread of its own that sleeps while nothing
// happens. THREAD: any may call; handlers run on the bus thread.
class SessionBus {
 public:
  // ERRORS: no bus address, no bus at it. The description says what to do.
  static std::expected<std::shared_ptr<SessionBus>, NSError> connect();
  virtual ~SessionBus() = default;

  // ERRORS: the name is taken. REQUIRES: objects exported before the name is requested.
  virtual std::optional<NSError> requestName(const std::string& name) = 0;
  virtual std::optional<NSError> exportObject(const std::string& path, BusInterface interface) = 0;
  virtual void emitSignal(const std::string& path, const std::string& interface, const std::string& name,
                          const std::string& signature, BusArguments arguments) = 0;

  struct Target {
    std::string service;
    std::string path;
    std::string interface;
  };
  // COMPLETES: once, on the bus thread, with the reply, the remote error, or a time-out (microseconds).
  virtual void call(const Target& target, const std::string& method, const std::string& signature,
                    BusArguments arguments, std::uint64_t timeoutMicroseconds,
                    std::move_only_function<void(std::expected<BusArguments, NSError>)> completion) = 0;
  // BLOCKS: until the reply or the time-out. REQUIRES: not called on the bus thread.
  std::expected<BusArguments, NSError> callAndWait(const Target& target, const std::string& method,
                                                   const std::string& signature, BusArguments arguments,
                                                   std::uint64_t timeoutMicroseconds);

  // True where callAndWait would wait for itself.
  virtual bool onBusThread() const { return false; }

  // The handler runs for each such signal from anybody, until the returned handle is dropped; one that is
  // running on the bus thread just then may still end. An empty path, interface or name matches any. The
  // same holds for watchName. When the bus itself is lost, every name is reported as lost.
  // BLOCKS: until the bus knows what is wanted, so that no signal sent after the return is missed (not on
  // the bus thread, where it returns at once; nor in watchName).
  virtual std::shared_ptr<void> matchSignal(
      const std::string& path, const std::string& interface, const std::string& name,
      std::function<void(const std::string& sender, BusArguments)> handler) = 0;
  // Runs with true when the name gets an owner and with false when it loses it (a unique name: when its
  // process leaves the bus), also once at the start with the present state.
  virtual std::shared_ptr<void> watchName(const std::string& name,
                                          std::function<void(bool present)> handler) = 0;
};

}  // namespace zelto
