// The machine under scan. Every question that the library asks (files, commands, kernel calls,
// clock, environment) goes to one process-wide machine: at first the one it runs on. It can be
// recorded into a capture directory while it is scanned, and a capture can be scanned in its place,
// anywhere, by any user. docs/capture.md describes the directory.
//
// The functions below change the machine for the whole process, from one thread, between scans; a
// forked child uses the machine of its parent. Answers kept from the machine before (helper
// answers, firmware tables) are dropped with it.
#pragma once

#include <string>
#include <vector>

#include <invscan/export.h>

namespace invscan {

// Makes every later question answer from a capture; nothing is asked of the live machine until
// useLiveMachine(). What the capture lacks does not exist. The capture's environment (LC_*, LANG,
// TZ) is put into the process's environment and its time zone becomes the process's.
// Returns false, with one line in error that names file and place, and changes nothing when the
// directory is not a usable capture.
INVSCAN_EXPORT bool replayMachine(const std::string& directory, std::string& error);

// Makes every later question go to the live machine and into a capture: a directory that is created
// (readable by its owner only) or exists and is empty. The first answer to a question stands, and
// is given again when the question is, so that a recorded scan equals its replay; what forked
// children ask is recorded too. finishRecording() completes the capture. Returns false, with one
// line in error, when the directory cannot be used: then the live machine is asked, and nothing is
// recorded.
INVSCAN_EXPORT bool recordMachine(const std::string& directory, std::string& error);

// Has a process that the recording one did not fork take part: what it asks is recorded as well,
// and it is given what was answered before. The recording must not be finished meanwhile. Returns
// false, with one line in error, and changes nothing when none is going on in that directory.
INVSCAN_EXPORT bool joinRecording(const std::string& directory, std::string& error);

// Completes the capture that is being recorded and returns to the live machine; to be called by the
// process that began it. Returns false, with one line in error, when not everything that was asked
// could be written; the capture is then not usable.
INVSCAN_EXPORT bool finishRecording(std::string& error);

// Back to the live machine and the process's own environment.
INVSCAN_EXPORT void useLiveMachine();

// The node name of the machine under scan (uname); empty when it does not tell.
INVSCAN_EXPORT std::string hostName();

// One question and how it went.
struct Access {
  std::string source;   // a path, a command line, or what was asked: "uname", "clock", ...
  std::string outcome;  // "ok", or in plain words why it gave nothing: "permission denied", ...
  double milliseconds = 0;
};

// Outcomes begin with these where several sources told the same attributes, which follow: what was
// taken from this source, and in what another one was believed rather than it.
inline constexpr char kGave[] = "gave ";
inline constexpr char kOverruled[] = "overruled in ";

// The outcome of a question that is still waiting for its answer, or never got one.
inline constexpr char kUnanswered[] = "no answer yet";

// Starts noting every question of this process, forgetting earlier ones. A question is noted before
// it is asked, as kUnanswered, for it may block.
INVSCAN_EXPORT void startAccessLog();

// Starts noting, in place of every question, those alone that something stood in the way of: what
// may not be read and what a recorded capture was never asked, unless the same source tells more
// later, as memory does in other places. Costs nothing where there is nothing of the kind.
INVSCAN_EXPORT void startObstacleLog();

// What was noted since, in the order asked; a question asked twice is there twice.
INVSCAN_EXPORT std::vector<Access> accessLog();

// Has a function told of each question that is noted: once before it is asked, with the outcome
// kUnanswered, and again with its outcome; for hosts that end a process which blocks. The thread
// that asks calls it, one at a time. Null, as at the start: nobody is told.
INVSCAN_EXPORT void watchAccesses(void (*told)(const Access& access));

}  // namespace invscan
