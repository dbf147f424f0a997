#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/foundation/NSDate.h"

namespace zelto {

// What is added to the platform's dates. THREAD: any. Nothing here logs.

// Strictly earlier, strictly later.
bool u_earlierThanDate(NSDate receiver, NSDate date);
bool u_LaterThanDate(NSDate receiver, NSDate date);

// Texts in the process's locale and time zone, both taken on first use. An absent date gives nothing.

// The time stamp of a log line: 2024-03-05 14:07:09:123+0100.
std::string stringForLogDate(NSDate date);
std::optional<std::string> stringForLogDate(const std::optional<NSDate>& date);
// 20240305140709123
std::string timestampForDate(NSDate date);
std::optional<std::string> timestampForDate(const std::optional<NSDate>& date);
// 20240305140709
std::string timestampAcurateToSecondsForDate(NSDate date);
std::optional<std::string> timestampAcurateToSecondsForDate(const std::optional<NSDate>& date);
// The time as events carry it: 05 Mar 2024 14:07:09.
std::string formattedDateTime(NSDate date);
std::optional<std::string> formattedDateTime(const std::optional<NSDate>& date);

// Whole days of the calendar from the date to the receiver, towards zero; negative where the receiver is
// earlier.
std::int64_t daysFrom(NSDate receiver, NSDate date);
// How long ago the date was, in the user's language: "2 hours ago".
std::string timeAgoSinceDate(NSDate date);
// The same; of a date more whole days ago than that the date and time in the user's medium style. An absent
// date gives the text of the token "UNKNOWN".
std::string timeAgoSinceDate(const std::optional<NSDate>& date, std::int64_t switchToDateWhenGreaterThanDays);

}  // namespace zelto
