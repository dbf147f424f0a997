#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <string>

#include "platform/bus/BusHandles.h"
#include "platform/bus/SessionBus.h"

namespace zelto {

// One request to hear of signals, shared by the bus thread and the handle of whoever asked.
struct BusMatch {
  std::string rule;  // in D-Bus notation
  std::function<void(const std::string& sender, BusArguments)> handler;
  std::atomic<bool> wanted = true;
  // Kept once the bus has the rule, has refused it, or is gone.
  std::promise<void> settled;
};

// One watched name.
struct BusNameWatch {
  std::string name;
  std::function<void(bool present)> handler;
  std::atomic<bool> wanted = true;
};

// The rule for signals from anybody; an empty part matches everything.
// ERRORS: nothing for a malformed part.
std::optional<std::string> signalRule(const std::string& path, const std::string& interface,
                                      const std::string& name);

// What this connection listens to. THREAD: the bus thread.
class BusMatches {
 public:
  explicit BusMatches(sd_bus* bus) : bus_(bus) {}
  BusMatches(const BusMatches&) = delete;
  BusMatches& operator=(const BusMatches&) = delete;

  void add(std::shared_ptr<BusMatch> match);
  void add(std::shared_ptr<BusNameWatch> watch);
  void remove(const BusMatch* match) { matches_.erase(match); }
  void remove(const BusNameWatch* watch) { watches_.erase(watch); }
  // The connection is lost, and with it every name: reported to the watches.
  void lost();
  void clear();

 private:
  struct Listening {
    void settle();

    std::shared_ptr<BusMatch> match;
    BusSlot slot;
    bool isSettled = false;
  };
  struct Watching {
    std::shared_ptr<BusNameWatch> watch;
    BusSlot changes;
    BusSlot inquiry;
    std::optional<bool> present;
  };

  static int ruleAnswered(sd_bus_message* message, void* userdata, sd_bus_error* error);
  static int signalled(sd_bus_message* message, void* userdata, sd_bus_error* error);
  static int ownerChanged(sd_bus_message* message, void* userdata, sd_bus_error* error);
  static int ownerTold(sd_bus_message* message, void* userdata, sd_bus_error* error);
  static void report(Watching& watching, bool present);

  sd_bus* bus_;
  std::map<const BusMatch*, std::unique_ptr<Listening>> matches_;
  std::map<const BusNameWatch*, std::unique_ptr<Watching>> watches_;
};

}  // namespace zelto
