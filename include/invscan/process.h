// Child processes with a time limit.
//
// Nothing here locks: a pipe handle belongs to one thread. Hosts that wait for any child of theirs
// (wait(), or SIGCHLD ignored) take a child's exit code away from whoever asks here.
#pragma once

#include <sys/types.h>

#include <invscan/export.h>

// Starts a program without a shell and returns a handle to it, or null when there is no path, there
// are more than 14 arguments, or pipes or process could not be made. The path, looked up in PATH
// when it has no slash, becomes argument 0; the char* that follow, up to a null pointer, the
// others:
//
//   void* handle = slm_popen("lsblk", 10, "-J", "-O", static_cast<char*>(nullptr));
//
// The child has the ends of two pipes for standard input and output, and no standard error. A
// program that cannot be run is a child that ends at once with exit code 255. The time limit is in
// seconds of the wall clock; with 0 or less there is none.
INVSCAN_EXPORT void* slm_popen(const char* path, int timeLimitSeconds, ...) noexcept;

// Asks for a line of the child's output, and never waits for one; only ending a child whose time
// has passed may take 100 ms:
//    1  there is a line in the buffer, with its line end, cut after size - 2 bytes; what was cut
//       off comes next. The last line may lack its end.
//    0  nothing yet: ask again. Once also when the child is found to have ended, and always for
//       a null handle and for a size below 3.
//   -1  the child has ended and all that it wrote was given out; or its time has passed, which only
//       shows when no line is ready and ends the child. What it wrote before may follow.
INVSCAN_EXPORT int slm_pgets(char* buffer, int size, void* handle) noexcept;

// Takes the handle back; null is ignored. The child is neither ended nor waited for: when
// slm_pgets() has not told its end, that is the host's to reap.
INVSCAN_EXPORT void slm_pclose(void* handle) noexcept;

// Runs a function in a forked child and waits for its end, at most that many seconds (at least
// one). Returns the child's exit code, 0 to 255, as soon as it has ended; -1 when no child could be
// made, it was ended by a signal, or it outlived its time and was killed. The child's id is put
// into *pidOut, which may be null. The function is to end the child, best with _exit(): exit()
// would write out once more what the caller has buffered. If it returns instead, so does
// execForked() in the child, with -1: from there the child goes on as a copy of the caller.
extern "C" INVSCAN_EXPORT int execForked(void (*function)(void), int seconds,
                                         pid_t* pidOut) noexcept;

// " 2>/dev/null": what discards the error output of a shell's command line that it is appended to.
INVSCAN_EXPORT extern const char* const StdErrRedir;
