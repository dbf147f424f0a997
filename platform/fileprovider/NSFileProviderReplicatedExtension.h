#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/fileprovider/NSFileProviderCustomAction.h"
#include "platform/fileprovider/NSFileProviderEnumerating.h"
#include "platform/fileprovider/NSFileProviderServiceSource.h"
#include "platform/fileprovider/NSFileProviderThumbnailing.h"
#include "platform/foundation/NSProgress.h"
#include "platform/foundation/NSURL.h"

namespace zelto {

struct NSFileProviderDomain {
  std::string identifier;  // [A-Za-z0-9_]+
  std::string displayName;
};

// The protocols below are what the framework drives an extension's principal class through. Handlers may
// be called at once on the calling thread, later on any thread, or never (where the extension has no
// host). The returned progress is never null.

class NSFileProviderServicing {
 public:
  virtual ~NSFileProviderServicing() = default;
  virtual std::shared_ptr<NSProgress> supportedServiceSourcesForItemIdentifier(
      const std::string& itemIdentifier,
      Completion<std::vector<std::shared_ptr<NSFileProviderServiceSource>>, std::optional<NSError>>
          completionHandler) = 0;
};

// COMPLETES: with the item as the extension has it now, or null; the fields that are still to be applied, for
// which the framework asks again (all of them after a failure; bits that have no name are to be ignored);
// whether the framework shall fetch the content; and what went wrong.
using NSFileProviderItemCompletion =
    Completion<NSFileProviderItemPtr, NSFileProviderItemFields, bool, std::optional<NSError>>;

class NSFileProviderReplicatedExtension {
 public:
  virtual ~NSFileProviderReplicatedExtension() = default;
  virtual void invalidate() = 0;
  // Null with `error` set, or an enumerator.
  virtual std::shared_ptr<NSFileProviderEnumerator> enumeratorForContainerItemIdentifier(
      const std::string& containerItemIdentifier, const NSFileProviderRequest& request,
      std::optional<NSError>* error) = 0;
  virtual std::shared_ptr<NSProgress> itemForIdentifier(
      const std::string& identifier, const NSFileProviderRequest& request,
      Completion<NSFileProviderItemPtr, std::optional<NSError>> completionHandler) = 0;
  // COMPLETES: with the URL of a local copy that the framework takes over, and the item it is of.
  virtual std::shared_ptr<NSProgress> fetchContentsForItemWithIdentifier(
      const std::string& identifier, const std::optional<NSFileProviderItemVersion>& version,
      const NSFileProviderRequest& request,
      Completion<std::optional<NSURL>, NSFileProviderItemPtr, std::optional<NSError>> completionHandler) = 0;
  // `contents` is a file or folder that the extension takes over: it may be gone afterwards.
  virtual std::shared_ptr<NSProgress> createItemBasedOnTemplate(
      const NSFileProviderItemPtr& itemTemplate, NSFileProviderItemFields fields,
      const std::optional<NSURL>& contents, NSFileProviderCreateItemOptions options,
      const NSFileProviderRequest& request, NSFileProviderItemCompletion completionHandler) = 0;
  // `item` carries the new values under the identifier that the extension knows. `contents`, set where the
  // content is among the changes, is taken over likewise.
  virtual std::shared_ptr<NSProgress> modifyItem(const NSFileProviderItemPtr& item,
                                                 const NSFileProviderItemVersion& baseVersion,
                                                 NSFileProviderItemFields changedFields,
                                                 const std::optional<NSURL>& contents,
                                                 NSFileProviderModifyItemOptions options,
                                                 const NSFileProviderRequest& request,
                                                 NSFileProviderItemCompletion completionHandler) = 0;
  virtual std::shared_ptr<NSProgress> deleteItemWithIdentifier(
      const std::string& identifier, const NSFileProviderItemVersion& baseVersion,
      NSFileProviderDeleteItemOptions options, const NSFileProviderRequest& request,
      Completion<std::optional<NSError>> completionHandler) = 0;
};

class NSFileProviderPartialContentFetching {
 public:
  virtual ~NSFileProviderPartialContentFetching() = default;
  // COMPLETES: with a sparse file that holds the delivered range at its own offset.
  virtual std::shared_ptr<NSProgress> fetchPartialContentsForItemWithIdentifier(
      const std::string& identifier, const NSFileProviderItemVersion& version,
      const NSFileProviderRequest& request, NSRange minimalRange, std::uint64_t aligningTo,
      NSFileProviderFetchContentsOptions options,
      Completion<std::optional<NSURL>, NSFileProviderItemPtr, NSRange, NSFileProviderMaterializationFlags,
                 std::optional<NSError>>
          completionHandler) = 0;
};

// All that a principal class adopts.
class NSFileProviderPrincipal : public NSFileProviderServicing,
                                public NSFileProviderReplicatedExtension,
                                public NSFileProviderPartialContentFetching,
                                public NSFileProviderThumbnailing,
                                public NSFileProviderCustomAction {};

}  // namespace zelto
