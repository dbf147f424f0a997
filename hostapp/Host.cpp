#include "hostapp/Host.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/DesktopNotices.h"
#include "platform/bus/ManagerInterface.h"
#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/NSJSONSerialization.h"

namespace zelto {

namespace {

constexpr const char* kGroupIdentifier = "KZ83MQ41TX.com.zelto.macos";

std::expected<std::string, NSError> stateDirectory(const std::string& domain) {
  const auto path = dataHome() + "/host/" + domain;
  auto& manager = NSFileManager::defaultManager();
  if (!manager.fileExists(NSURL::fileURL(path))) {
    if (auto error = manager.createDirectory(NSURL::fileURL(path), true)) return std::unexpected(*error);
  }
  ::chmod(path.c_str(), 0700);
  return path;
}

constexpr std::chrono::milliseconds kFirstLook{1500};
constexpr std::uint64_t kFirstImportConnection = std::uint64_t{1} << 32;

}  // namespace

std::expected<std::unique_ptr<Host>, NSError> Host::start(const HostOptions& options,
                                                          std::function<void()> shutdown) {
  std::unique_ptr<Host> host(new Host);
  if (auto error = host->open(options)) return std::unexpected(*error);
  host->makeConnector();
  if (auto error = host->makeControl(std::move(shutdown))) return std::unexpected(*error);
  host->parts_->pool->run([backend = host->backend_] { backend->removeWhatWasLeft(); });
  host->parts_->watcher->start();
  host->applyOptions(options);
  // What changed while nobody looked is in the first answer; a large server is not waited for to its end.
  host->parts_->watcher->waitForFirstLook(kFirstLook);
  host->connector_->start();
  host->importConnector_->start();
  host->log_->info("Serving \"" + host->folder_ + "\" to domain " + host->domain_ + ".");
  return host;
}

// Whoever still has a hand on a part finds it there, but idle.
Host::~Host() {
  control_.reset();
  if (importConnector_) importConnector_->stop();
  if (connector_) connector_->stop();
  if (!parts_) return;
  parts_->stop();
  hidden_->end();
  log_->info("Ended.");
}

std::optional<NSError> Host::open(const HostOptions& options) {
  folder_ = options.folder;
  domain_ = options.domain;
  const auto directory = stateDirectory(options.domain);
  if (!directory) return directory.error();
  lock_.reset(::open(directory->c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!lock_ || ::flock(lock_.get(), LOCK_EX | LOCK_NB) != 0) {
    return cocoaError(kReadUnknownError, "Domain " + domain_ + " has a host application already.");
  }
  hidden_ = std::make_shared<HiddenPlaces>(*directory + "/host.db.hidden");
  auto backend = LocalFolderBackend::serving(options.folder, hidden_);
  if (!backend) return backend.error();
  backend_ = std::move(*backend);
  auto bus = SessionBus::connect();
  if (!bus) return bus.error();
  bus_ = std::move(*bus);
  auto store = HostStore::open(*directory + "/host.db");
  if (!store) return store.error();
  store_ = std::move(*store);
  const auto group =
      NSFileManager::defaultManager().containerURLForSecurityApplicationGroupIdentifier(kGroupIdentifier);
  if (!group) return cocoaError(kReadUnknownError, "The group directory cannot be made.");
  log_ = std::make_shared<LogFile>(options.logPath.empty() ? *directory + "/host.log" : options.logPath);
  HostParts::Given given{backend_,
                         store_,
                         log_,
                         ContainerNames::ofMainBundle(),
                         group->path() + "/host-" + options.domain,
                         [this] { connector_->signalChanges(); }};
  given.user = options.user;
  given.mayManageCheckouts = options.mayManageCheckouts;
  given.office = {options.officeOnline, options.office365};
  given.openCommand = options.openCommand;
  given.thumbnailFolder = *directory + "/thumbnails";
  given.notify = desktopNotices(bus_);
  parts_ = HostParts::make(std::move(given));
  return std::nullopt;
}

void Host::makeConnector() {
  connector_ = connectorTo(domain_, 0);
  importConnector_ = connectorTo(manager::importerOf(domain_), kFirstImportConnection);
}

// The services of both share everything but the number of their connection.
std::unique_ptr<ProviderConnector> Host::connectorTo(const std::string& domain,
                                                     std::uint64_t firstConnection) {
  ProviderConnector::Hooks hooks;
  hooks.makeService = [parts = parts_, firstConnection](std::uint64_t connection) {
    return std::make_shared<HostService>(parts, firstConnection + connection);
  };
  hooks.mode = [mode = parts_->mode] { return mode->mode(); };
  hooks.log = [log = log_, domain](const std::string& line) { log->info(domain + ": " + line); };
  return std::make_unique<ProviderConnector>(bus_, domain, std::move(hooks));
}

std::optional<NSError> Host::makeControl(std::function<void()> shutdown) {
  HostControl::Actions actions;
  actions.status = [this] { return status(); };
  actions.setMode = [this](HostMode mode) { setMode(mode); };
  actions.mark = [this](MarkKind kind, bool add, const std::string& identifier) {
    return add ? parts_->marks->add(kind, identifier) : parts_->marks->remove(kind, identifier);
  };
  actions.items = parts_->actions;
  actions.lastNotice = [this] { return lastNotice(); };
  actions.shutdown = std::move(shutdown);
  auto control = HostControl::make(bus_, domain_, std::move(actions));
  if (!control) return control.error();
  control_ = std::move(*control);
  return std::nullopt;
}

// A mode given at the start counts like one that is set later.
void Host::applyOptions(const HostOptions& options) {
  const auto stored = parts_->mode->mode();
  const HostMode wanted{options.useMyFiles.value_or(stored.useMyFiles),
                        options.useOfflineFiles.value_or(stored.useOfflineFiles)};
  if (wanted != stored) setMode(wanted);
}

void Host::setMode(HostMode mode) {
  const auto before = parts_->listings->rootChildren();
  store_->setMode(mode);
  parts_->mode->set(mode);
  log_->info(std::string("My files ") + (mode.useMyFiles ? "on" : "off") + ", offline files " +
             (mode.useOfflineFiles ? "on." : "off."));
  connector_->sendMode();
  parts_->publisher->modeChanged(before, parts_->listings->rootChildren());
}

std::string Host::lastNotice() const {
  const auto last = parts_->notices->last();
  if (!last) return "{}";
  const NSDictionary notice{
      {"title", last->title}, {"text", last->text}, {"shown", last->shown.timeIntervalSince1970()}};
  return NSJSONSerialization::stringWithValue(notice, false).value_or("{}");
}

std::string Host::status() const {
  NSDictionary calls;
  for (const auto& [operation, count] : parts_->counters->calls()) {
    calls.set(operation, static_cast<std::int64_t>(count));
  }
  const auto mode = parts_->mode->mode();
  const auto watcher = parts_->watcher->counts();
  const auto thumbnails = parts_->counters->thumbnails();
  const auto number = [](std::uint64_t value) { return PropertyListValue(static_cast<std::int64_t>(value)); };
  const NSDictionary status{{"domain", domain_},
                            {"pid", static_cast<std::int64_t>(::getpid())},
                            {"folder", folder_},
                            {"connected", connector_->isConnected()},
                            {"useMyFiles", mode.useMyFiles},
                            {"useOfflineFiles", mode.useOfflineFiles},
                            {"log", log_->path()},
                            {"calls", calls},
                            {"bytesSent", number(parts_->counters->bytes())},
                            {"thumbnailsNow", number(thumbnails.now)},
                            {"mostThumbnailsAtOnce", number(thumbnails.most)},
                            {"pendingChanges", number(parts_->journal->size())},
                            {"watchedFolders", number(watcher.folders - watcher.unwatched)},
                            {"unwatchedFolders", number(watcher.unwatched)},
                            {"folderScans", number(watcher.scans)}};
  return NSJSONSerialization::stringWithValue(status, false).value_or("{}");
}

}  // namespace zelto
