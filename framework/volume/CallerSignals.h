#pragma once

#include <sys/types.h>

namespace zelto {

// Whether the thread that waits for an answer is being asked to end: it has a signal pending that kills
// it, or one by which a user or a service manager asks a program to stop and which it handles itself.
// The kernel interrupts a request for any signal, also one that the program will never notice; failing a
// request for those would break programs that do not expect it. True also for a thread that is gone.
bool isAskedToEnd(pid_t thread);

}  // namespace zelto
