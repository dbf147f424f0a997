#include "host/wire/ServerDispatch.h"

#include <iterator>
#include <utility>

#include <fmt/format.h>

#include "host/wire/FileProvider.capnp.h"
#include "host/wire/ListingCodec.h"
#include "host/wire/MessageCodec.h"
#include "host/wire/ResultCodec.h"

namespace zelto::wire {

namespace {

using Server = ZeltoFileProviderServerInterface;
using Port = std::shared_ptr<XPCReplyPort>;
using Outcome = std::expected<std::shared_ptr<NSProgress>, std::string>;

void replyResult(XPCReplyPort& port, const ItemResult& result) {
  if (auto message = encodeResult(result)) port.reply(std::move(*message));
}

ListReply listReply(Port port) {
  return [port = std::move(port)](DictionaryList list) { replyListing(*port, std::move(list)); };
}

FileReply fileReply(Port port) {
  return [port = std::move(port)](std::optional<NSDictionary> item, std::optional<NSError> error) {
    replyResult(*port,
                {.error = std::move(error), .item = std::move(item), .url = {}, .data = {}, .range = {}});
  };
}

// Calls with a path, or a path and a flag, or nothing.
Decoded<std::string> pathOf(const XPCMessage& call) {
  return decodeMessage<Path>(call.body, [](Path::Reader in) { return checkedText(in.getPath()); });
}

struct PathWithFlag {
  std::string path;
  bool flag;
};
Decoded<PathWithFlag> pathAndFlagOf(const XPCMessage& call) {
  return decodeMessage<PathAndFlag>(call.body, [](PathAndFlag::Reader in) {
    return PathWithFlag{checkedText(in.getPath()), in.getFlag()};
  });
}

Decoded<bool> nothingIn(const XPCMessage& call) {
  return decodeMessage<Nothing>(call.body, [](Nothing::Reader) { return true; });
}

template <auto Method>
Outcome withPath(Server& server, const XPCMessage& call, Port) {
  auto path = pathOf(call);
  if (!path) return std::unexpected(std::move(path.error()));
  (server.*Method)(*path);
  return nullptr;
}

template <auto Method>
Outcome listing(Server& server, const XPCMessage& call, Port port) {
  if (auto nothing = nothingIn(call); !nothing) return std::unexpected(std::move(nothing.error()));
  (server.*Method)(listReply(std::move(port)));
  return nullptr;
}

Outcome retrieveChanges(Server& server, const XPCMessage& call, Port port) {
  if (auto nothing = nothingIn(call); !nothing) return std::unexpected(std::move(nothing.error()));
  server.retrieveChangesWithCompletion(
      [port = std::move(port)](DictionaryList changed, std::vector<std::string> deleted) {
        replyListing(*port, std::move(changed), std::move(deleted));
      });
  return nullptr;
}

Outcome metadataForDirectory(Server& server, const XPCMessage& call, Port port) {
  auto in = pathAndFlagOf(call);
  if (!in) return std::unexpected(std::move(in.error()));
  server.metadataForDirectory(in->path, in->flag, listReply(std::move(port)));
  return nullptr;
}

Outcome metadataForBookmark(Server& server, const XPCMessage& call, Port port) {
  auto path = pathOf(call);
  if (!path) return std::unexpected(std::move(path.error()));
  server.metadataForDirectoryWithBookmarkPath(*path, listReply(std::move(port)));
  return nullptr;
}

Outcome refreshMyFiles(Server& server, const XPCMessage& call, Port) {
  if (auto nothing = nothingIn(call); !nothing) return std::unexpected(std::move(nothing.error()));
  server.refreshMyFiles();
  return nullptr;
}

Outcome refreshDirectory(Server& server, const XPCMessage& call, Port) {
  auto in = pathAndFlagOf(call);
  if (!in) return std::unexpected(std::move(in.error()));
  server.refreshDirectoryForPath(in->path, in->flag);
  return nullptr;
}

Outcome thumbnail(Server& server, const XPCMessage& call, Port port) {
  auto path = pathOf(call);
  if (!path) return std::unexpected(std::move(path.error()));
  server.thumbnailForPath(
      *path, [port = std::move(port)](std::optional<NSData> data, std::optional<NSError> error) {
        replyResult(*port,
                    {.error = std::move(error), .item = {}, .url = {}, .data = std::move(data), .range = {}});
      });
  return nullptr;
}

struct UploadCall {
  std::string path;
  std::optional<NSURL> contentUrl;
  bool creating;
  std::optional<NSDate> modifiedDate;
};
Decoded<UploadCall> uploadOf(const XPCMessage& call) {
  return decodeMessage<Upload>(call.body, [](Upload::Reader in) {
    UploadCall result{checkedText(in.getPath()), std::nullopt, in.getCreating(), std::nullopt};
    if (in.hasContentUrl()) result.contentUrl = readUrl(in.getContentUrl());
    if (in.getHasModifiedDate()) result.modifiedDate = NSDate::sinceReferenceDate(in.getModifiedDate());
    return result;
  });
}

Outcome upload(Server& server, const XPCMessage& call, Port port) {
  auto in = uploadOf(call);
  if (!in) return std::unexpected(std::move(in.error()));
  return server.uploadFileWithPath(in->path, in->contentUrl, in->creating, in->modifiedDate,
                                   fileReply(std::move(port)));
}

Outcome createDirectory(Server& server, const XPCMessage& call, Port port) {
  auto in = pathAndFlagOf(call);
  if (!in) return std::unexpected(std::move(in.error()));
  return server.createDirectoryWithPath(in->path, in->flag, fileReply(std::move(port)));
}

Outcome deleteItem(Server& server, const XPCMessage& call, Port port) {
  auto path = pathOf(call);
  if (!path) return std::unexpected(std::move(path.error()));
  return server.deleteItemWithPath(*path, [port = std::move(port)](std::optional<NSError> error) {
    replyResult(*port, {.error = std::move(error), .item = {}, .url = {}, .data = {}, .range = {}});
  });
}

Outcome moveItem(Server& server, const XPCMessage& call, Port port) {
  auto in = decodeMessage<Move>(call.body, [](Move::Reader reader) {
    return std::pair(checkedText(reader.getPath()), checkedText(reader.getDestination()));
  });
  if (!in) return std::unexpected(std::move(in.error()));
  return server.moveItemWithPath(in->first, in->second, fileReply(std::move(port)));
}

Outcome download(Server& server, const XPCMessage& call, Port port) {
  auto path = pathOf(call);
  if (!path) return std::unexpected(std::move(path.error()));
  return server.downloadItemWithPath(*path, [port = std::move(port)](std::optional<NSURL> url,
                                                                     std::optional<NSDictionary> item,
                                                                     std::optional<NSError> error) {
    replyResult(
        *port,
        {.error = std::move(error), .item = std::move(item), .url = std::move(url), .data = {}, .range = {}});
  });
}

struct RangeCall {
  std::string path;
  NSRange range;
  std::int64_t alignment;
};
Decoded<RangeCall> rangeCallOf(const XPCMessage& call) {
  return decodeMessage<RangeRequest>(call.body, [](RangeRequest::Reader in) {
    return RangeCall{checkedText(in.getPath()), readRange(in.getRange()), in.getAlignment()};
  });
}

Outcome downloadRange(Server& server, const XPCMessage& call, Port port) {
  auto in = rangeCallOf(call);
  if (!in) return std::unexpected(std::move(in.error()));
  return server.downloadItemWithPath(
      in->path, in->range, in->alignment,
      [port = std::move(port)](std::optional<NSData> data, std::optional<NSDictionary> item, NSRange range,
                               std::optional<NSError> error) {
        replyResult(*port, {.error = std::move(error),
                            .item = std::move(item),
                            .url = {},
                            .data = std::move(data),
                            .range = range});
      });
}

struct LogCall {
  std::string message, level, date;
  bool verbose;
  std::int32_t pid;
};

// While the host was slow, several records may have been joined.
Outcome log(Server& server, const XPCMessage& call, Port) {
  std::span<const std::uint64_t> rest = call.body;
  while (!rest.empty()) {
    auto in = decodeMessage<LogRecord>(
        rest,
        [](LogRecord::Reader record) {
          return LogCall{checkedText(record.getMessage()), checkedText(record.getLevel()),
                         checkedText(record.getDate()), record.getVerbose(), record.getPid()};
        },
        &rest);
    if (!in) return std::unexpected(std::move(in.error()));
    server.logMessage(in->message, in->level, in->date, in->verbose, in->pid);
  }
  return nullptr;
}

struct Handler {
  ServerOperation operation;
  bool replies;
  Outcome (*run)(Server&, const XPCMessage&, Port);
};

using Operation = ServerOperation;
constexpr bool kReplies = true;
constexpr bool kOneWay = false;

// In the order of their numbers.
constexpr Handler kHandlers[] = {
    {Operation::ENUMERATOR_INVALIDATED_PATH, kOneWay, withPath<&Server::enumeratorInvalidatedPath>},
    {Operation::RETRIEVE_CHANGES_WITH_COMPLETION, kReplies, retrieveChanges},
    {Operation::METADATA_FOR_SHARES_WITH_COMPLETION, kReplies,
     listing<&Server::metadataForSharesWithCompletion>},
    {Operation::METADATA_FOR_BOOKMARKS_WITH_COMPLETION, kReplies,
     listing<&Server::metadataForBookmarksWithCompletion>},
    {Operation::METADATA_FOR_DIRECTORY, kReplies, metadataForDirectory},
    {Operation::METADATA_FOR_DIRECTORY_WITH_BOOKMARK_PATH, kReplies, metadataForBookmark},
    {Operation::METADATA_FOR_ROOT_OFFLINE_FILES_WITH_COMPLETION, kReplies,
     listing<&Server::metadataForRootOfflineFilesWithCompletion>},
    {Operation::SHOW_CUSTOM_FIELDS_FOR_PATH, kOneWay, withPath<&Server::showCustomFieldsForPath>},
    {Operation::OPEN_WITH_OFFICE_ONLINE_FOR_PATH, kOneWay, withPath<&Server::openWithOfficeOnlineForPath>},
    {Operation::OPEN_WITH_OFFICE365_FOR_PATH, kOneWay, withPath<&Server::openWithOffice365ForPath>},
    {Operation::MAKE_AVAILABLE_OFFLINE_FOR_PATH, kOneWay, withPath<&Server::makeAvailableOfflineForPath>},
    {Operation::REMOVE_FROM_OFFLINE_FILES_FOR_PATH, kOneWay,
     withPath<&Server::removeFromOfflineFilesForPath>},
    {Operation::ADD_BOOKMARK_FOR_PATH, kOneWay, withPath<&Server::addBookmarkForPath>},
    {Operation::REMOVE_BOOKMARK_FOR_PATH, kOneWay, withPath<&Server::removeBookmarkForPath>},
    {Operation::REFRESH_MY_FILES, kOneWay, refreshMyFiles},
    {Operation::REFRESH_DIRECTORY_FOR_PATH, kOneWay, refreshDirectory},
    {Operation::SHOW_CHECKOUT_STATUS_FOR_PATH, kOneWay, withPath<&Server::showCheckoutStatusForPath>},
    {Operation::CHECK_IN_FILE_AT_PATH, kOneWay, withPath<&Server::checkInFileAtPath>},
    {Operation::CHECK_OUT_FILE_AT_PATH, kOneWay, withPath<&Server::checkOutFileAtPath>},
    {Operation::THUMBNAIL_FOR_PATH, kReplies, thumbnail},
    {Operation::UPLOAD_FILE_WITH_PATH, kReplies, upload},
    {Operation::CREATE_DIRECTORY_WITH_PATH, kReplies, createDirectory},
    {Operation::DELETE_ITEM_WITH_PATH, kReplies, deleteItem},
    {Operation::MOVE_ITEM_WITH_PATH, kReplies, moveItem},
    {Operation::DOWNLOAD_ITEM_WITH_PATH, kReplies, download},
    {Operation::DOWNLOAD_ITEM_WITH_PATH_RANGE, kReplies, downloadRange},
    {Operation::LOG_MESSAGE, kOneWay, log},
};

consteval bool isInOrder() {
  for (std::size_t i = 0; i < std::size(kHandlers); ++i)
    if (static_cast<std::size_t>(kHandlers[i].operation) != i) return false;
  return std::size(kHandlers) == 27;
}
static_assert(isInOrder());

}  // namespace

Outcome dispatchServerCall(Server& server, const XPCMessage& call, Port port) {
  if (call.operation >= std::size(kHandlers))
    return std::unexpected(fmt::format("a call of the unknown operation {}", call.operation));
  const Handler& handler = kHandlers[call.operation];
  if (handler.replies != (port != nullptr))
    return std::unexpected(fmt::format("a call of operation {} with the wrong kind of id", call.operation));
  if (!call.descriptors.empty()) return std::unexpected(std::string("a call with descriptors"));
  return handler.run(server, call, std::move(port));
}

}  // namespace zelto::wire
