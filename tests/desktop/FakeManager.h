#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "desktop/core/BusCall.h"
#include "platform/bus/ManagerInterface.h"

namespace zelto::desktop::test {

inline const std::string kMount = "/home/user/Zelto";

// Runs the main context until the condition holds; false after ten seconds without that.
bool runUntil(const std::function<bool()>& condition);

// An object as a manager's answer has it; words without quotes in them.
std::string stateJson(const std::string& path, const std::string& decorations, const std::string& actions,
                      const std::string& state = "current", bool known = true);

// A manager on a bus connection of its own, served by the test's main context.
class FakeManager {
 public:
  explicit FakeManager(const std::string& domain = "test");
  // As a manager that is killed: the bus tells that its name is gone.
  ~FakeManager();
  FakeManager(const FakeManager&) = delete;
  FakeManager& operator=(const FakeManager&) = delete;

  // What is answered; set them before they are asked for.
  std::string status = "{\"mountPoint\": \"" + kMount + "\"}";
  std::string actions = R"([{"identifier": "a", "title": "Alpha"}, {"identifier": "b", "title": "Beta"},
                            {"identifier": "c", "title": "Gamma"}])";
  std::map<std::string, std::string> folders;  // the items of each, with commas between
  std::map<std::string, std::string> items;
  std::string refusal;   // of Perform; empty: it succeeds
  bool holding = false;  // nothing is answered until release()

  // Every call, as "Method" and its arguments behind spaces, in order.
  const std::vector<std::string>& calls() const { return calls_; }
  std::size_t count(const std::string& beginning) const;
  void release();
  void itemsChanged(const std::vector<std::string>& changed);

 private:
  static void called(GDBusConnection*, const char*, const char*, const char*, const char* method,
                     GVariant* arguments, GDBusMethodInvocation* invocation, gpointer self);
  void answer(const std::string& method, GVariant* arguments, GDBusMethodInvocation* invocation);

  ObjectPointer<GDBusConnection> bus_;
  std::string object_;
  guint registration_;
  std::vector<std::string> calls_;
  std::vector<std::function<void()>> held_;
};

// Somebody who shows notifications.
class FakeNotifications {
 public:
  FakeNotifications();
  ~FakeNotifications();
  FakeNotifications(const FakeNotifications&) = delete;
  FakeNotifications& operator=(const FakeNotifications&) = delete;

  std::vector<std::string> shown;  // "title: text"

 private:
  ObjectPointer<GDBusConnection> bus_;
  guint registration_;
};

}  // namespace zelto::desktop::test
