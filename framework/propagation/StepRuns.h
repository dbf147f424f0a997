#pragma once

#include "framework/propagation/StepRun.h"

namespace zelto {

// The kinds of steps, a source file for each.

// Something that the server does not have yet. What turns out to be there already is taken as ours when it
// has the same bytes: an earlier request may have been carried out without our being told.
class CreateRun final : public StepRun {
 public:
  using StepRun::StepRun;
  void start() override;

 private:
  void send();
  void created(const NSFileProviderItemPtr& item, const std::optional<NSError>& error);
  void sentBefore(const Look& look);
  void exists(const Look& look);
  void occupied(const NSFileProviderItemPtr& item);
  bool isSame(const NSFileProviderItemPtr& item) const;
};

// New bytes for a file that the server has; only over the version that they were made from.
class UploadRun final : public StepRun {
 public:
  using StepRun::StepRun;
  void start() override;

 private:
  void looked(const Look& look);
  void isAnother(const NSFileProviderItemPtr& item);
  void compared(const Comparison& comparison);
  void send();
  void sent(const NSFileProviderItemPtr& item, const std::optional<NSError>& error);
};

// Another name or folder.
class MoveRun final : public StepRun {
 public:
  using StepRun::StepRun;
  void start() override;

 private:
  void send(const std::string& identifier, NSFileProviderItemFields fields);
  void moved(const NSFileProviderItemPtr& item, NSFileProviderItemFields asked,
             NSFileProviderItemFields pending, const std::optional<NSError>& error);
  void arrived(const NSFileProviderItemPtr& item);
  void occupied(const NSError& error);
  void notFound(const NSError& error, const Look& destination);
};

// A removal; nothing is removed that was changed on the server, or that nobody has seen here.
class RemoveRun final : public StepRun {
 public:
  using StepRun::StepRun;
  void start() override;

 private:
  void looked(const Look& look);
  void checked(const Comparison& comparison);
  void found(const Look& look);
  void listed(const std::vector<NSFileProviderItemPtr>& items, const std::optional<NSError>& error);
  bool isRemovedHere(const NSFileProviderItemPtr& item) const;
  void send();
  void removed(const std::optional<NSError>& error);
};

// Dates, flags and attributes, until the extension has nothing left to apply.
class MetadataRun final : public StepRun {
 public:
  using StepRun::StepRun;
  void start() override { send(step_.metadata); }

 private:
  void send(NSFileProviderItemFields fields);
  void applied(const NSFileProviderItemPtr& item, NSFileProviderItemFields asked,
               NSFileProviderItemFields pending, const std::optional<NSError>& error);
};

// The bits of a mask that have a name; the others are the extension's own business.
NSFileProviderItemFields knownFields(NSFileProviderItemFields fields);

}  // namespace zelto
