@0xd2f9e2d729808a05;

# The messages between the extension and its host application. docs/WIRE.md says how they are framed, in
# which order they come and what each side has to do; this file says what is in them.
#
# Text is UTF-8 in all ordinary cases, but a path is a byte string and may hold other bytes.

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("zelto::wire");

# Both sides put it into their hello. It changes whenever an old reader could misunderstand a new writer;
# operations and fields added at the end do not change it.
const schemaVersion :UInt32 = 1;

# The operations that the host exports: the number in a frame's header, the struct of the call's body and
# the struct of the reply's ("none": no reply is sent, and the call's id is 0).
enum ServerOperation {
  enumeratorInvalidatedPath @0;                  # Path -> none
  retrieveChangesWithCompletion @1;              # Nothing -> Listing (changed items and deleted identifiers)
  metadataForSharesWithCompletion @2;            # Nothing -> Listing
  metadataForBookmarksWithCompletion @3;         # Nothing -> Listing
  metadataForDirectory @4;                       # PathAndFlag (force use of the cache) -> Listing
  metadataForDirectoryWithBookmarkPath @5;       # Path -> Listing
  metadataForRootOfflineFilesWithCompletion @6;  # Nothing -> Listing
  showCustomFieldsForPath @7;                    # Path -> none
  openWithOfficeOnlineForPath @8;                # Path -> none
  openWithOffice365ForPath @9;                   # Path -> none
  makeAvailableOfflineForPath @10;               # Path -> none
  removeFromOfflineFilesForPath @11;             # Path -> none
  addBookmarkForPath @12;                        # Path -> none
  removeBookmarkForPath @13;                     # Path -> none
  refreshMyFiles @14;                            # Nothing -> none
  refreshDirectoryForPath @15;                   # PathAndFlag (expire the remote cache) -> none
  showCheckoutStatusForPath @16;                 # Path -> none
  checkInFileAtPath @17;                         # Path -> none
  checkOutFileAtPath @18;                        # Path -> none
  thumbnailForPath @19;                          # Path -> Result (data, error)
  uploadFileWithPath @20;                        # Upload -> Result (item, error), with progress
  createDirectoryWithPath @21;                   # PathAndFlag (may exist) -> Result (item, error), with progress
  deleteItemWithPath @22;                        # Path -> Result (error), with progress
  moveItemWithPath @23;                          # Move -> Result (item, error), with progress
  downloadItemWithPath @24;                      # Path -> Result (url, item, error), with progress
  downloadItemWithPathRange @25;                 # RangeRequest -> Result (data, item, range, error), with progress
  logMessage @26;                                # one or more LogRecord messages end to end -> none
}

# The operations that the extension exports.
enum ClientOperation {
  disconnect @0;        # Nothing -> none
  updateUseMyFiles @1;  # Configuration -> none
}

struct Nothing {}

struct Path {
  path @0 :Text;
}

struct PathAndFlag {
  path @0 :Text;
  flag @1 :Bool;
}

struct Move {
  path @0 :Text;
  destination @1 :Text;
}

struct Upload {
  path @0 :Text;
  contentUrl @1 :Text;  # "file:///…" with percent encoding; absent when there is no content
  creating @2 :Bool;
  hasModifiedDate @3 :Bool;
  modifiedDate @4 :Float64;  # seconds since 2001-01-01 00:00:00 UTC
}

struct RangeRequest {
  path @0 :Text;
  range @1 :Range;
  alignment @2 :Int64;
}

struct Range {
  location @0 :UInt64;
  length @1 :UInt64;
}

struct LogRecord {
  message @0 :Text;
  level @1 :Text;
  date @2 :Text;
  verbose @3 :Bool;
  pid @4 :Int32;
}

struct Configuration {
  useMyFiles @0 :Bool;
  useOfflineFiles @1 :Bool;
}

# One part of a list, and its end: the parts' dictionaries and identifiers follow one another.
struct Listing {
  keys @0 :List(Text);  # the key names that this part uses, each once
  dictionaries @1 :List(Dictionary);
  identifiers @2 :List(Text);  # only in replies to retrieveChangesWithCompletion
}

# The reply of every operation that concerns one item. A field that does not belong to the operation, or
# that has no value, is absent.
struct Result {
  error @0 :Error;
  item @1 :Properties;
  url @2 :Text;  # "file:///…" with percent encoding
  data @3 :Block;
  range @4 :Range;
}

struct Error {
  domain @0 :Text;
  code @1 :Int64;
  userInfo @2 :Properties;
}

# One dictionary with its own key names.
struct Properties {
  keys @0 :List(Text);
  dictionary @1 :Dictionary;
}

struct Dictionary {
  entries @0 :List(Value);
}

# A property-list value. A boolean, an integer and a real number are three different things.
struct Value {
  key @0 :UInt32;  # of an entry: index into the key names of the nearest struct that has some
  union {
    boolean @1 :Bool;
    integer @2 :Int64;
    real @3 :Float64;
    string @4 :Text;
    date @5 :Float64;  # seconds since 2001-01-01 00:00:00 UTC
    data @6 :Data;
    array @7 :List(Value);
    dictionary @8 :Dictionary;
  }
}

# Bytes, here or in a sealed memory file whose descriptor comes beside the frame.
struct Block {
  union {
    bytes @0 :Data;
    shared :group {
      descriptor @1 :UInt16;  # index among the frame's descriptors
      offset @2 :UInt64;
      length @3 :UInt64;
    }
  }
}
