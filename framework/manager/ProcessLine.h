#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace zelto {

// The process of a thread, the one that started it, and so on up to what the session's manager started: the
// program that a user knows by its window, with its helpers. Empty when the thread has ended.
// THREAD: any. BLOCKS: while a few small files of /proc are read.
std::vector<pid_t> processLine(pid_t thread);

// Someone who asks for something as long as this process runs, as a name.
std::string askerForProcess(pid_t process);
// Whether such a one still runs; true for names of other kinds.
bool isAskerThere(const std::string& asker);

}  // namespace zelto
