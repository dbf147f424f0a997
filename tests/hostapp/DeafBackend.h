#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "tests/hostapp/ForwardingBackend.h"

namespace zelto::test {

// A backend whose events the test makes itself, and which may refuse to watch.
class DeafBackend : public ForwardingBackend {
 public:
  using ForwardingBackend::ForwardingBackend;

  void setChangeHandler(std::function<void(FolderEvent)> handler) override { emit = std::move(handler); }
  bool watch(const std::string&) override { return watches; }
  void unwatch(const std::string&) override {}

  std::atomic<bool> watches = true;
  std::function<void(FolderEvent)> emit;
};

}  // namespace zelto::test
