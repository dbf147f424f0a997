#pragma once

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include "framework/replica/Replica.h"
#include "framework/requests/HostLink.h"
#include "framework/requests/Waiter.h"
#include "tests/framework/PlainExtension.h"
#include "tests/replica/FakeItem.h"

namespace zelto::test {

// An item as an extension would hand it over, which may be read and no more.
class FakeItem final : public zelto::FakeItem {
 public:
  FakeItem(std::string identifier, std::string parent, std::string name, bool folder, std::int64_t size,
           int version) {
    identifierField = std::move(identifier);
    parentField = std::move(parent);
    nameField = std::move(name);
    if (folder) typeField = UTType::folder();
    sizeField = size;
    stampField = static_cast<std::uint64_t>(version);
    capabilitiesField =
        NSFileProviderItemCapabilities::allowsReading | NSFileProviderItemCapabilities::allowsEvicting;
    flagsField = NSFileProviderFileSystemFlags::userReadable;
  }
  static NSFileProviderItemPtr file(const std::string& identifier, std::int64_t size, int version = 1) {
    return make(identifier, false, size, version);
  }
  static NSFileProviderItemPtr folder(const std::string& identifier) { return make(identifier, true, 0, 1); }

 private:
  static NSFileProviderItemPtr make(const std::string& identifier, bool folder, std::int64_t size,
                                    int version) {
    auto item = std::make_shared<FakeItem>("", "", "", folder, size, version);
    item->placeAt(identifier);
    return item;
  }
};

// An extension that keeps every request until the test answers it.
class FakeExtension : public PlainExtension {
 public:
  using WholeHandler = Completion<std::optional<NSURL>, NSFileProviderItemPtr, std::optional<NSError>>;
  using RangeHandler = Completion<std::optional<NSURL>, NSFileProviderItemPtr, NSRange,
                                  NSFileProviderMaterializationFlags, std::optional<NSError>>;

  struct Creation {
    NSFileProviderItemPtr item;
    NSFileProviderItemFields fields;
    std::optional<NSURL> contents;
    NSFileProviderCreateItemOptions options;
    std::shared_ptr<NSProgress> progress;
    NSFileProviderItemCompletion handler;
  };
  struct Modification {
    NSFileProviderItemPtr item;
    NSFileProviderItemVersion base_version;
    NSFileProviderItemFields fields;
    std::optional<NSURL> contents;
    NSFileProviderModifyItemOptions options;
    std::shared_ptr<NSProgress> progress;
    NSFileProviderItemCompletion handler;
  };
  struct Deletion {
    std::string identifier;
    NSFileProviderItemVersion base_version;
    NSFileProviderDeleteItemOptions options;
    std::shared_ptr<NSProgress> progress;
    Completion<std::optional<NSError>> handler;
  };

  std::vector<std::pair<std::string, std::shared_ptr<NSFileProviderEnumerationObserver>>> listings;
  std::vector<std::shared_ptr<NSFileProviderChangeObserver>> changes;
  std::function<void()> changesArrived;
  std::vector<WholeHandler> wholes;
  std::vector<std::pair<NSRange, RangeHandler>> ranges;
  std::vector<Creation> creations;
  std::vector<Modification> modifications;
  std::vector<Deletion> deletions;
  std::function<void()> writeArrived;  // after each creation, modification and deletion

  void answerListing(std::size_t index, const std::vector<NSFileProviderItemPtr>& items) {
    listings.at(index).second->didEnumerateItems(items);
    listings.at(index).second->finishEnumeratingUpToPage(std::nullopt);
  }

  std::shared_ptr<NSProgress> supportedServiceSourcesForItemIdentifier(
      const std::string&,
      Completion<std::vector<std::shared_ptr<NSFileProviderServiceSource>>, std::optional<NSError>>)
      override {
    return NSProgress::create();
  }
  void invalidate() override {}
  std::shared_ptr<NSFileProviderEnumerator> enumeratorForContainerItemIdentifier(
      const std::string& identifier, const NSFileProviderRequest&, std::optional<NSError>*) override {
    return std::make_shared<Enumerator>(*this, identifier);
  }
  std::shared_ptr<NSProgress> itemForIdentifier(
      const std::string&, const NSFileProviderRequest&,
      Completion<NSFileProviderItemPtr, std::optional<NSError>>) override {
    return NSProgress::create();
  }
  std::shared_ptr<NSProgress> fetchContentsForItemWithIdentifier(
      const std::string&, const std::optional<NSFileProviderItemVersion>&, const NSFileProviderRequest&,
      WholeHandler handler) override {
    wholes.push_back(std::move(handler));
    return NSProgress::create();
  }
  std::shared_ptr<NSProgress> fetchPartialContentsForItemWithIdentifier(const std::string&,
                                                                        const NSFileProviderItemVersion&,
                                                                        const NSFileProviderRequest&,
                                                                        NSRange minimalRange, std::uint64_t,
                                                                        NSFileProviderFetchContentsOptions,
                                                                        RangeHandler handler) override {
    ranges.emplace_back(minimalRange, std::move(handler));
    return NSProgress::create();
  }
  std::shared_ptr<NSProgress> createItemBasedOnTemplate(const NSFileProviderItemPtr& itemTemplate,
                                                        NSFileProviderItemFields fields,
                                                        const std::optional<NSURL>& contents,
                                                        NSFileProviderCreateItemOptions options,
                                                        const NSFileProviderRequest&,
                                                        NSFileProviderItemCompletion handler) override {
    return keep(creations,
                {itemTemplate, fields, contents, options, NSProgress::create(), std::move(handler)});
  }
  std::shared_ptr<NSProgress> modifyItem(const NSFileProviderItemPtr& item,
                                         const NSFileProviderItemVersion& baseVersion,
                                         NSFileProviderItemFields changedFields,
                                         const std::optional<NSURL>& contents,
                                         NSFileProviderModifyItemOptions options,
                                         const NSFileProviderRequest&,
                                         NSFileProviderItemCompletion handler) override {
    return keep(modifications, {item, baseVersion, changedFields, contents, options, NSProgress::create(),
                                std::move(handler)});
  }
  std::shared_ptr<NSProgress> deleteItemWithIdentifier(const std::string& identifier,
                                                       const NSFileProviderItemVersion& baseVersion,
                                                       NSFileProviderDeleteItemOptions options,
                                                       const NSFileProviderRequest&,
                                                       Completion<std::optional<NSError>> handler) override {
    return keep(deletions, {identifier, baseVersion, options, NSProgress::create(), std::move(handler)});
  }

 private:
  template <typename Request>
  std::shared_ptr<NSProgress> keep(std::vector<Request>& requests, Request request) {
    auto progress = request.progress;
    requests.push_back(std::move(request));
    if (writeArrived) writeArrived();
    return progress;
  }

  class Enumerator final : public NSFileProviderEnumerator {
   public:
    Enumerator(FakeExtension& extension, std::string identifier)
        : extension_(extension), identifier_(std::move(identifier)) {}
    void invalidate() override {}
    void enumerateItemsForObserver(std::shared_ptr<NSFileProviderEnumerationObserver> observer,
                                   const NSFileProviderPage&) override {
      extension_.listings.emplace_back(identifier_, std::move(observer));
    }
    void enumerateChangesForObserver(std::shared_ptr<NSFileProviderChangeObserver> observer,
                                     const NSFileProviderSyncAnchor&) override {
      extension_.changes.push_back(std::move(observer));
      if (extension_.changesArrived) extension_.changesArrived();
    }
    void currentSyncAnchorWithCompletionHandler(
        Completion<std::optional<NSFileProviderSyncAnchor>>) override {}

   private:
    FakeExtension& extension_;
    std::string identifier_;
  };
};

// Waits for one answer and remembers it.
class RecordingWaiter final : public Waiter {
 public:
  void done(int error) override { answers.push_back(error); }
  bool gaveUp() const override { return given_up; }

  std::vector<int> answers;
  bool given_up = false;
};

// A replica in a folder of its own, with a host that is present or not.
class ReplicaFixture {
 public:
  ReplicaFixture() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zelto-framework-XXXXXX").string();
    directory = ::mkdtemp(pattern.data());
    replica = *Replica::open(directory / "replica");
    link.endpointTaken("peer");
    link.ready("peer");
  }
  ~ReplicaFixture() {
    replica.reset();
    std::filesystem::remove_all(directory);
  }

  // A file as an extension delivers it.
  NSURL delivered(const std::string& content, std::uint64_t offset = 0) {
    const auto path = directory / ("delivered" + std::to_string(++deliveries));
    std::ofstream out(path, std::ios::binary);
    out.seekp(static_cast<std::streamoff>(offset));
    out << content;
    return NSURL::fileURL(path.string());
  }

  Deadlines deadlines;
  HostLink link{deadlines, std::chrono::hours(1)};
  std::filesystem::path directory;
  std::unique_ptr<Replica> replica;
  FakeExtension extension;
  std::vector<ReplicaDelta> deltas;
  int deliveries = 0;

  std::function<void(const ReplicaDelta&)> recordDelta() {
    return [this](const ReplicaDelta& delta) { deltas.push_back(delta); };
  }
};

}  // namespace zelto::test
