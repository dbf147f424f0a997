#include "framework/domain/Domain.h"

#include "framework/importing/ImportProcess.h"
#include "framework/manager/AskingProcess.h"
#include "framework/replica/ReplicaFiles.h"
#include "platform/fileprovider/NSExtensionMain.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSFileManager.h"

namespace zelto {
namespace {

// How long a host that took the endpoint may take to tell that it is ready.
constexpr std::chrono::milliseconds kHostGrace{500};
// How long an enumeration of changes may take before it is made again.
constexpr std::chrono::milliseconds kChangePatience{250};

}  // namespace

Domain::Domain(const Settings& settings)
    : settings_(settings), link_(deadlines_, kHostGrace), trim_(deadlines_) {}

std::expected<std::unique_ptr<Domain>, NSError> Domain::start(const Settings& settings,
                                                              const std::string& principalClass) {
  std::unique_ptr<Domain> domain(new Domain(settings));
  if (auto error = domain->open(principalClass)) {
    // What was started may still be at work for a moment; the process ends with it.
    static_cast<void>(domain.release());
    return std::unexpected(std::move(*error));
  }
  return domain;
}

std::optional<NSError> Domain::openReplica() {
  auto replica = Replica::open(dataHome() + "/domains/" + settings_.domain.identifier);
  if (!replica) return replica.error();
  replica_ = *std::move(replica);
  return std::nullopt;
}

void Domain::joinGroup() {
  if (settings_.documentGroup.empty()) return;
  auto& files = NSFileManager::defaultManager();
  const auto group = files.containerURLForSecurityApplicationGroupIdentifier(settings_.documentGroup);
  if (group) group_.emplace(group->path());
}

std::optional<NSError> Domain::open(const std::string& principalClass) {
  auto bus = SessionBus::connect();
  if (!bus) return bus.error();
  if (auto error = openReplica()) return error;
  catalogue_ = std::make_unique<ActionCatalogue>(NSBundle::mainBundle(), reportLine);
  joinGroup();  // before the extension can make a file there
  extension_ = NSClassRegistry::make(principalClass, settings_.domain);
  if (!extension_) return errorWithPOSIXCode(ENOENT, "no principal class named " + principalClass);

  const auto changed = [this](const ReplicaDelta& delta) { replicaChanged(delta); };
  lister_ = std::make_unique<Lister>(*extension_, *replica_, changed,
                                     [this](std::size_t items) { trim_.itemsHandled(items); });
  materialiser_ = std::make_unique<Materialiser>(*extension_, *replica_, link_, changed);
  pump_ = std::make_unique<ChangePump>(*extension_, *replica_, deadlines_, kChangePatience, changed);
  makePropagator();
  link_.addObserver([this](bool present) { hostChanged(present); });

  auto volume = Volume::mount({*replica_, *lister_, *materialiser_, deadlines_, link_}, settings_.mountPoint,
                              settings_.requestLimit);
  if (!volume) return volume.error();
  volume_ = *std::move(volume);
  volume_->describeStateBy([this](const NodeInfo& node) { return propagator_->stateText(node); });
  makeThumbnails();
  manager_ = std::make_unique<Manager>(
      Manager::Parts{settings_.domain, *extension_, link_, *pump_, *volume_, *propagator_, deadlines_,
                     *catalogue_, thumbnails_, importFolder(exportDirectory(), settings_.domain.identifier)},
      *std::move(bus), [this] { stop(); });
  propagator_->start();
  return manager_->start();
}

void Domain::makePropagator() {
  // None of them is called before there is a change, and programs are served only after `open`.
  Propagator::Observers observers{
      .changed = [this](const ReplicaDelta& delta) { replicaChanged(delta); },
      .countsChanged = [this](const Propagator::Counts& counts) { manager_->pendingChanged(counts); },
      .progress = [this](const std::string& path, std::int64_t completed,
                         std::int64_t total) { manager_->uploadProgress(path, completed, total); },
      .conflict = [this](const std::string& path,
                         const std::string& message) { manager_->conflict(path, message); },
  };
  propagator_ = Propagator::make({*extension_, *replica_, *lister_, deadlines_, exportDirectory()},
                                 std::move(observers), {});
}

void Domain::makeThumbnails() {
  ThumbnailQueue::Parts parts{.extension = *extension_, .deadlines = deadlines_, .stored = {}};
  // Whoever shows the file looks at it again then, and finds the picture.
  parts.stored = [this](Inode inode) {
    ReplicaDelta delta;
    delta.metadataChanged.push_back(inode);
    volume_->replicaChanged(delta);
  };
  parts.isThere = isAskerThere;
  thumbnails_ = ThumbnailQueue::make(std::move(parts), {});
  volume_->takePicturesFrom([this](Inode inode, pid_t reader, Volume::PictureHandler done) {
    manager_->fetchPicture(inode, reader, std::move(done));
  });
}

std::string Domain::exportDirectory() const {
  auto& files = NSFileManager::defaultManager();
  const auto group = files.containerURLForSecurityApplicationGroupIdentifier(settings_.documentGroup);
  return group ? group->path() : dataHome() + "/domains/" + settings_.domain.identifier;
}

int Domain::run() { return volume_->run(); }

void Domain::replicaChanged(const ReplicaDelta& delta) {
  trim_.itemsHandled(delta.added.size() + delta.removed.size());
  volume_->replicaChanged(delta);
  manager_->itemsChanged(delta);
  manager_->stateChanged("changes");
}

void Domain::hostChanged(bool present) {
  if (!present) {
    lister_->hostLost();
    materialiser_->hostLost();
    pump_->hostLost();
    propagator_->hostLost();
    thumbnails_->hostLost();
  } else {
    // Changes first: they also empty what the extension remembers of a host that is gone.
    pump_->signal([this] {
      lister_->hostReady();
      materialiser_->hostReady();
      propagator_->hostReady();
      thumbnails_->hostReady();
      refreshRoot();
    });
  }
  manager_->stateChanged("host");
}

void Domain::refreshRoot() {
  // Another host may serve other shares than the one that the replica was filled from.
  const auto root = replica_->node(kRootInode);
  if (root && root->listed) lister_->list(kRootInode, std::make_shared<FunctionWaiter>([](int) {}));
}

void Domain::close() {
  extension_->invalidate();
  propagator_->close();
  // Nothing is destroyed: threads of the extension and of the bus may be at work on it.
  volume_->unmount();
  replica_->close();
}

}  // namespace zelto
