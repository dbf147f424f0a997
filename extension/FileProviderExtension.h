#pragma once

#include "platform/fileprovider/NSFileProviderReplicatedExtension.h"

namespace zelto {

// The principal class: the framework makes one for the domain and drives it with every request. It has no
// state; each request goes at once to the subsystem that owns it.
// THREAD: any.
class FileProviderExtension final : public NSFileProviderPrincipal {
 public:
  // Tells the host application that the extension is listening. There is one domain for all purposes of
  // the extension, so which one it is does not matter.
  explicit FileProviderExtension(const NSFileProviderDomain& domain);

  // Connection and caches stay as they are, for a later instance.
  void invalidate() override;

  // COMPLETES: at once, with the host client, for every identifier.
  std::shared_ptr<NSProgress> supportedServiceSourcesForItemIdentifier(
      const std::string& itemIdentifier,
      Completion<std::vector<std::shared_ptr<NSFileProviderServiceSource>>, std::optional<NSError>>
          completionHandler) override;

  // Never sets the error.
  std::shared_ptr<NSFileProviderEnumerator> enumeratorForContainerItemIdentifier(
      const std::string& containerItemIdentifier, const NSFileProviderRequest& request,
      std::optional<NSError>* error) override;

  std::shared_ptr<NSProgress> itemForIdentifier(
      const std::string& identifier, const NSFileProviderRequest& request,
      Completion<NSFileProviderItemPtr, std::optional<NSError>> completionHandler) override;

  std::shared_ptr<NSProgress> fetchContentsForItemWithIdentifier(
      const std::string& identifier, const std::optional<NSFileProviderItemVersion>& version,
      const NSFileProviderRequest& request,
      Completion<std::optional<NSURL>, NSFileProviderItemPtr, std::optional<NSError>> completionHandler)
      override;

  // The delivered range is the host's and may be wider than the one asked for.
  std::shared_ptr<NSProgress> fetchPartialContentsForItemWithIdentifier(
      const std::string& identifier, const NSFileProviderItemVersion& version,
      const NSFileProviderRequest& request, NSRange minimalRange, std::uint64_t aligningTo,
      NSFileProviderFetchContentsOptions options,
      Completion<std::optional<NSURL>, NSFileProviderItemPtr, NSRange, NSFileProviderMaterializationFlags,
                 std::optional<NSError>>
          completionHandler) override;

  std::shared_ptr<NSProgress> createItemBasedOnTemplate(
      const NSFileProviderItemPtr& itemTemplate, NSFileProviderItemFields fields,
      const std::optional<NSURL>& contents, NSFileProviderCreateItemOptions options,
      const NSFileProviderRequest& request, NSFileProviderItemCompletion completionHandler) override;

  std::shared_ptr<NSProgress> modifyItem(const NSFileProviderItemPtr& item,
                                         const NSFileProviderItemVersion& baseVersion,
                                         NSFileProviderItemFields changedFields,
                                         const std::optional<NSURL>& contents,
                                         NSFileProviderModifyItemOptions options,
                                         const NSFileProviderRequest& request,
                                         NSFileProviderItemCompletion completionHandler) override;

  // Version and options do not matter: the host deletes what is there, folders with their content.
  std::shared_ptr<NSProgress> deleteItemWithIdentifier(
      const std::string& identifier, const NSFileProviderItemVersion& baseVersion,
      NSFileProviderDeleteItemOptions options, const NSFileProviderRequest& request,
      Completion<std::optional<NSError>> completionHandler) override;

  std::shared_ptr<NSProgress> fetchThumbnailsForItemIdentifiers(
      const std::vector<std::string>& itemIdentifiers, CGSize requestedSize,
      NSFileProviderThumbnailHandler perThumbnailCompletionHandler,
      Completion<std::optional<NSError>> completionHandler) override;

  std::shared_ptr<NSProgress> performActionWithIdentifier(
      const std::string& actionIdentifier, const std::vector<std::string>& onItemsWithIdentifiers,
      Completion<std::optional<NSError>> completionHandler) override;
};

}  // namespace zelto
