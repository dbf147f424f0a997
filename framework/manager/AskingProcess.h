#pragma once

#include <string>

#include <sys/types.h>

namespace zelto {

// The process of a thread; 0 when it has ended. THREAD: any. BLOCKS: while a small file of /proc is read.
pid_t processOf(pid_t thread);

// Someone who asks for something as long as this process runs, as a name.
std::string askerForProcess(pid_t process);
// Whether such a one still runs; true for names of other kinds.
bool isAskerThere(const std::string& asker);

}  // namespace zelto
