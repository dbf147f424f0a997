#include <cerrno>

#include "framework/manager/Answers.h"
#include "framework/manager/Manager.h"
#include "framework/volume/Permissions.h"

namespace zelto {
namespace {

// Whether a path is another one or lies below it.
bool liesIn(const std::string& path, const std::string& folder) {
  return path == folder || folder == "/" || path.starts_with(folder + "/");
}

}  // namespace

// Without a look at the source: it may be on a disk that hangs.
std::optional<NSError> Manager::checkSource(const std::string& source) const {
  if (!source.starts_with('/') || source == "/") return systemError(EINVAL, source);
  const std::string& root = parts_.volume.mountPoint();
  if (liesIn(source, root)) {
    return errorWithPOSIXCode(EINVAL, source + " is in the file system already; copy it there");
  }
  if (liesIn(root, source)) {
    return errorWithPOSIXCode(EINVAL, source + " has the file system itself in it");
  }
  return std::nullopt;
}

std::optional<NSError> Manager::checkDestination(Inode inode, const std::string& path) const {
  Replica& replica = parts_.volume.replica();
  const auto node = replica.node(inode);
  if (!node) return systemError(ENOENT, path);
  if (const int error = Permissions(replica).toAddTo(*node); error != 0) return systemError(error, path);
  const auto change = replica.localChange(inode);
  if (!change || !change->created) return std::nullopt;
  return errorWithPOSIXCode(EBUSY, path + " is not on the server yet; try again when it is");
}

void Manager::importFolder(BusMethodCall call, BusReply reply) {
  const std::string source = pathArgument(call);
  const std::string path = std::get<BusBytes>(call.arguments[1]).bytes;
  if (const auto error = checkSource(source)) return reply(std::unexpected(*error));
  const auto relative = relativePath(path);
  if (!relative) return reply(std::unexpected(relative.error()));
  if (!parts_.volume.lister().sending()) {
    return reply(std::unexpected(errorWithPOSIXCode(EHOSTDOWN, "no host application is connected")));
  }
  resolver_.resolve(
      *relative, [this, source, path, reply = std::move(reply)](std::expected<Inode, int> inode) mutable {
        if (!inode) return reply(std::unexpected(systemError(inode.error(), path)));
        if (const auto error = checkDestination(*inode, path)) return reply(std::unexpected(*error));
        const std::uint64_t ticket = nextTicket_++;
        const auto error = importer_.start(ticket, source, parts_.volume.replica().identifier(*inode),
                                           [this, ticket, folder = *inode](const ImportReport& report) {
                                             report.finished ? imported(ticket, folder, report)
                                                             : importProgress(ticket, report);
                                           });
        if (error) return reply(std::unexpected(*error));
        reply(BusArguments{ticket});
      });
}

// What is new shows here before anybody is told that it is done.
void Manager::imported(std::uint64_t ticket, Inode folder, const ImportReport& report) {
  if (!parts_.volume.lister().sending()) return importProgress(ticket, report);
  parts_.volume.lister().list(folder, std::make_shared<FunctionWaiter>(
                                          [this, ticket, report](int) { importProgress(ticket, report); }));
}

void Manager::importProgress(std::uint64_t ticket, const ImportReport& report) {
  emit("ImportProgress", "tttttbss",
       {ticket, report.completed, report.total, report.entries, report.allEntries, report.finished,
        report.message, report.error});
}

void Manager::cancelImport(BusMethodCall call, BusReply reply) {
  importer_.cancel(std::get<std::uint64_t>(call.arguments[0]));
  reply(BusArguments{});
}

}  // namespace zelto
