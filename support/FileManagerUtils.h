#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/foundation/NSDate.h"
#include "platform/foundation/NSError.h"
#include "platform/foundation/NSURL.h"

namespace zelto {

// What is added to the platform's file manager. THREAD: any. BLOCKS: on the disk.

// A new unique name in the process's temporary directory; nothing is made there.
NSURL u_tempFileUrl();

// The item's own size (a link is not followed); 0 for an absent URL and where there is no item. Logs nothing.
std::int64_t u_fileSizeOfUrl(const std::optional<NSURL>& url);

// When the item (of a link: what it leads to) was read, or changed, last, in whole seconds. ERRORS: nothing,
// after the warning "FileManager[ATIME] …", or "[MTIME]", that the URL is empty or the item cannot be looked
// at.
std::optional<NSDate> u_accessTimeForUrl(const std::optional<NSURL>& url);
std::optional<NSDate> u_accessTimeForPath(const std::optional<std::string>& path);
std::optional<NSDate> u_modifiedDateForUrl(const std::optional<NSURL>& url);

// Sets the date of the last change, cut to whole seconds, and that of the last access to now. The nice name
// is for messages. ERRORS: in the POSIX domain: EFAULT for an absent URL or path; the system's error number,
// after the warning "FileManager[MTIME] Failed to set modified date …".
std::optional<NSError> u_setModifiedDate(NSDate date, const std::optional<NSURL>& forUrl,
                                         const std::string& niceName);
std::optional<NSError> u_setModifiedDate(NSDate date, const std::optional<std::string>& forPath,
                                         const std::string& niceName);

}  // namespace zelto
