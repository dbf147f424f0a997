#pragma once

#include <future>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/ZeltoFileProviderClient.h"
#include "tests/extension/FakeHost.h"

namespace zelto::test {

// What a host that fails answers.
inline const NSError kFailure("host", 7, {{NSLocalizedDescriptionKey, "disk full"}});

// A file as the host describes it; `extra` adds keys and replaces values.
NSDictionary fileDictionary(const std::string& path, const NSDictionary& extra = {});
NSDictionary folderDictionary(const std::string& path, const NSDictionary& extra = {});

std::string contentsOf(const std::string& path);
void writeFile(const std::string& path, const std::string& text);

// What a completion was called with, and how often.
template <typename... Values>
class Outcome {
 public:
  auto completion() {
    auto token = std::make_shared<int>();
    alive_ = token;
    return [this, token = std::move(token)](Values... values) {
      ++count_;
      value_.emplace(std::move(values)...);
    };
  }
  int count() const { return count_; }
  const std::tuple<Values...>& value() const { return value_.value(); }
  template <std::size_t index = 0>
  const auto& get() const {
    return std::get<index>(value_.value());
  }
  // The completion is gone: with a count of 0 it was dropped uncalled.
  bool destroyed() const { return alive_.expired(); }

 private:
  int count_ = 0;
  std::optional<std::tuple<Values...>> value_;
  std::weak_ptr<int> alive_;
};

using Items = Outcome<FileProviderItemList>;
using ItemOutcome = Outcome<FileProviderItemPtr, std::optional<NSError>>;

// The identifiers of items, in order; "(null)" for none.
template <typename List>
std::vector<std::string> identifiersOf(const List& items) {
  std::vector<std::string> result;
  for (const auto& item : items) result.push_back(item->itemIdentifier().value_or("(null)"));
  return result;
}

// A client with a fake host connected, in a process whose resources and data folders are the test's own.
class ExtensionFixture : public ::testing::Test {
 protected:
  ExtensionFixture() { client().setServer(host_); }
  ~ExtensionFixture() override { client().setServer(nullptr); }

  static ZeltoFileProviderClient& client() { return ZeltoFileProviderClient::instance(); }
  FakeHost& host() { return *host_; }
  static const std::string& dataFolder();

 private:
  std::shared_ptr<FakeHost> host_ = std::make_shared<FakeHost>();
};

}  // namespace zelto::test
