#pragma once

#include <expected>
#include <optional>
#include <string>

#include <systemd/sd-bus.h>

#include "platform/bus/SessionBus.h"
#include "platform/foundation/NSError.h"

namespace zelto {

// Moves arguments between our values and the library's messages. THREAD: the bus thread, as everything
// that touches a message.

// REQUIRES: mismatch() has nothing to say about the arguments. ERRORS: the library's refusal.
std::optional<NSError> appendArguments(sd_bus_message* message, const BusArguments& arguments);

// All arguments of a received message. ERRORS: types other than ours, a byte array over 16 MiB, a list of
// more than 65,536 strings, no free descriptor.
std::expected<BusArguments, NSError> readArguments(sd_bus_message* message);

// An error as it travels: domain and code go into the error's name, the description is its message.
// "it.pellam.Zelto.Error.NSPOSIXErrorDomain.Code2"; a negative code is written "CodeMinus2".
std::string busErrorName(const NSError& error);
// Our own errors come back as they were sent; others become POSIX errors with the code that the library
// assigns to the name (no such service: EHOSTUNREACH, time-out: ETIMEDOUT).
NSError errorFromBus(const sd_bus_error& error);
// The description, as text that may travel.
std::string busErrorMessage(const NSError& error);

}  // namespace zelto
