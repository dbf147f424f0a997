#include <algorithm>
#include <cerrno>

#include "framework/manager/Answers.h"
#include "framework/manager/Manager.h"
#include "platform/bus/ManagerInterface.h"
#include "platform/foundation/Path.h"

namespace zelto {
namespace {

constexpr std::size_t kMostChangesTold = 10000;

const char* kindName(const LocalChangeInfo& info) {
  if (info.removed) return "remove";
  if (info.created) return "create";
  if (info.content) return "upload";
  return info.moved ? "move" : "metadata";
}

const char* stateName(PendingChange::State state) {
  switch (state) {
    case PendingChange::State::pending:
      return "pending";
    case PendingChange::State::uploading:
      return "uploading";
    case PendingChange::State::waiting:
      return "waiting";
    case PendingChange::State::failed:
      return "failed";
    case PendingChange::State::local:
      return "local";
    case PendingChange::State::current:
      break;
  }
  return "current";
}

double secondsSince1970(std::chrono::system_clock::time_point time) {
  return std::chrono::duration<double>(time.time_since_epoch()).count();
}

}  // namespace

std::string Manager::absolutePath(const std::string& relative) const {
  return readable(parts_.volume.mountPoint() + "/" + relative);
}

PropertyListValue Manager::describe(const std::vector<PendingChange>& changes) const {
  NSArray list;
  for (const PendingChange& change : changes) {
    list.emplace_back(NSDictionary{
        {"path", absolutePath(change.info.path)},
        {"kind", kindName(change.info)},
        {"state", stateName(change.state)},
        {"reason", readable(change.reason)},
        {"completed", change.completed},
        {"total", change.total},
        {"attempts", static_cast<std::int64_t>(change.attempts)},
        {"since", secondsSince1970(change.since)},
    });
  }
  return list;
}

void Manager::pending(BusMethodCall, BusReply reply) {
  replyJson(reply, describe(parts_.propagator.pending(kMostChangesTold)));
}

void Manager::wait(BusMethodCall, BusReply reply) {
  parts_.propagator.flushNow();
  parts_.propagator.waitUntilDone(
      [this, reply = std::move(reply)](const std::vector<PendingChange>& failed) mutable {
        replyJson(reply, describe(failed));
      });
}

std::expected<Inode, NSError> Manager::changeAt(const std::string& path) const {
  const auto relative = relativePath(path);
  if (!relative) return std::unexpected(relative.error());
  Replica& replica = parts_.volume.replica();
  const auto standing = replica.inodeForRelativePath(*relative);
  if (standing && replica.localChange(*standing)) return *standing;
  // What was removed here is found by the place where it stood.
  for (const Inode inode : replica.localChanges()) {
    const auto change = replica.localChange(inode);
    if (change && change->path == *relative) return inode;
  }
  return std::unexpected(errorWithPOSIXCode(ENOENT, path + " has no change that the server has not taken"));
}

void Manager::retry(BusMethodCall call, BusReply reply) {
  if (pathArgument(call).empty()) {
    parts_.propagator.retryAll();
    return reply(BusArguments{});
  }
  const auto inode = changeAt(pathArgument(call));
  if (!inode) return reply(std::unexpected(inode.error()));
  parts_.propagator.retry(*inode);
  reply(BusArguments{});
}

void Manager::cancel(BusMethodCall call, BusReply reply) {
  const std::string& path = pathArgument(call);
  const auto inode = changeAt(path);
  if (!inode) return reply(std::unexpected(inode.error()));
  parts_.propagator.cancel(*inode, [path, reply = std::move(reply)](int error) mutable {
    if (error != 0) return reply(std::unexpected(systemError(error, path + ": the change stays")));
    reply(BusArguments{});
  });
}

void Manager::emit(const char* signal, const char* signature, BusArguments arguments) {
  bus_->emitSignal(manager::objectPath(parts_.domain.identifier), std::string(manager::kInterface), signal,
                   signature, std::move(arguments));
}

void Manager::pendingChanged(const Propagator::Counts& counts) {
  const auto number = [](std::size_t count) { return static_cast<std::uint64_t>(count); };
  emit("PendingChanged", "ttt", {number(counts.pending), number(counts.uploading), number(counts.failed)});
  pendingFoldersChanged();
}

void Manager::uploadProgress(const std::string& path, std::int64_t completed, std::int64_t total) {
  const auto bytes = [](std::int64_t count) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(count, 0));
  };
  emit("UploadProgress", "stt", {absolutePath(path), bytes(completed), bytes(total)});
}

void Manager::conflict(const std::string& path, const std::string& message) {
  emit("Conflict", "ss", {absolutePath(path), readable(message)});
}

}  // namespace zelto
