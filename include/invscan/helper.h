// Helper programs: how they are run and what they answer.
//
// A helper prints a response line, "1.0 0 OK" (version of the protocol, result, message), and
// behind it a variable tree in its text form (vartree.h). Lines before the response that begin with
// ";" are comments. Its exit status has no meaning.
//
// Answers, with trees and texts, live to the end of the process.
#pragma once

#include <string>

#include <invscan/export.h>
#include <invscan/machine.h>
#include <invscan/vartree.h>

// What a helper answered.
struct VtExecInfo {
  int result;  // 0 success, greater a failure that the helper tells; -1 no valid response line
  int versionMajor;  // both are -1 when there was no valid response line
  int versionMinor;
  char* message;  // null when there was no valid response line
  VtNode* tree;   // root, named ""; null without response or when the text behind it is wrong
};

// Streams of bytes.
struct INVSCAN_EXPORT VtIStream {
  virtual ~VtIStream();
  // Reads up to size bytes: how many there were, 0 at the end, negative with errno after an error.
  virtual long read(char* buffer, unsigned long size) = 0;
  virtual void close();
};

struct INVSCAN_EXPORT VtOStream {
  virtual ~VtOStream();
  // Writes up to size bytes: how many went out, negative with errno after an error.
  virtual long write(char* buffer, unsigned long size) = 0;
  virtual void close();
};

// The same over a file descriptor, with one call of the system each; when closed, 0. They do not
// close the descriptor when they go.
struct INVSCAN_EXPORT VtIStream_Unix : VtIStream {
  explicit VtIStream_Unix(int number);
  long read(char* buffer, unsigned long size) override;
  void close() override;

  int descriptor;  // -1 when closed
};

struct INVSCAN_EXPORT VtOStream_Unix : VtOStream {
  explicit VtOStream_Unix(int number);
  long write(char* buffer, unsigned long size) override;
  void close() override;

  int descriptor;  // -1 when closed
};

// A program that was started, with pipes to and from it. Deleting it releases the streams, but
// neither closes their descriptors nor waits for the process.
struct INVSCAN_EXPORT VtProcess {
  // Makes the pipes only, whose descriptors are never 0, 1 or 2; -1 where they could not be made.
  VtProcess();
  VtProcess(const VtProcess&) = delete;
  VtProcess& operator=(const VtProcess&) = delete;
  virtual ~VtProcess();

  // Kills the process, if one is held, and forgets it; does not wait.
  virtual void destroy();
  // The exit status, -1 when it is not known or when a signal ended the process.
  virtual int exitValue();
  // Waits for the end of the process, if one is held, and returns its exit value.
  virtual int waitFor();

  // Starts the program at a path with at most 62 arguments, which blanks separate; null gives none.
  // When the trace path is not null, standard error goes to that file, which is made with mode
  // 0600, or emptied, and begins with a line that tells the time; a link, or anything but a regular
  // file, is left alone, and standard error goes to its pipe then. The program starts with the
  // signals of a fresh process, no descriptors but the standard ones, and is killed when the thread
  // that started it ends. A program that is not there shows as one that ends at once with status
  // 255. Null when no process could be made.
  static VtProcess* create(const char* path, const char* arguments, const char* tracePath);

  // Closes the program's ends of the pipes, and marks them -1.
  void closeUnusedHandles();

  VtOStream* input;   // to its standard input
  VtIStream* output;  // from its standard output
  VtIStream* error;   // from its standard error
  int pid;            // -1 when none is held, as after it was waited for
  int exitCode;       // -1 until known
  int inputPipe[2];   // of each pipe the end to read from, then the one to write to
  int outputPipe[2];
  int errorPipe[2];
};

// Reads an answer to its end; never null. A null stream gives no response. Response lines are cut
// to 255 bytes.
INVSCAN_EXPORT VtExecInfo* vtParseProgramOutput(VtIStream* in);

// Runs the program at a path, as VtProcess::create does, and reads its answer; null when no process
// could be made. Blocks until the program closes its standard output or ends; then it is killed,
// but not waited for, and the three descriptors stay open. Its standard error is read and dropped,
// and more than 64 MiB or 4 Mi lines are no response, nor is what there is no memory for. By
// default there is no limit of time but that of whoever waits for the caller; with the key
// hwscanner.helper_timeout (milliseconds) in the store a program that takes longer is killed, and
// gives no response. That holds for all that run a helper.
INVSCAN_EXPORT VtExecInfo* vtExecProgram(const char* path, const char* arguments,
                                         const char* tracePath);

// The same for a helper of the machine under scan, by its name: a live machine's is in the home
// that setHelperHome() named; else it is $ORV_HOMEDIR/bin/NAME, or NAME in the current directory
// when that variable is unset or empty. Such a variable has to be absolute, and root runs only what
// belongs to root in directories that do, up to /, and where nobody else may replace it; a process
// that has more rights than its caller (AT_SECURE) takes neither. Of a replayed machine it is what
// was recorded. There is no response when no helper can be had.
INVSCAN_EXPORT VtExecInfo* vtExecCommand(const char* command, const char* arguments,
                                         const char* tracePath);

// The answers of "cpuid" and "diskscan", kept once there is one, whatever its result, until another
// machine is scanned; a thread that got one before may read it until it asks for one of the other
// machine or ends. Null when no process could be made. When the directory common_trace_path of
// the store can be listed, "cpuid" runs with "-d" and a trace in its file traceORV_cpuid.log.
INVSCAN_EXPORT VtExecInfo* getCpuidVT();
INVSCAN_EXPORT VtExecInfo* getDiskScanVT();

namespace invscan {

// Names the install directory whose bin holds the helpers, for hosts that know theirs: it is
// believed as it is. Empty: none. Not while another thread asks a helper.
INVSCAN_EXPORT void setHelperHome(const std::string& directory);

// The two halves of getCpuidVT() and getDiskScanVT(), for hosts that collect in several processes:
// one process has a helper run, and each that collects is given what that printed, so that no
// helper runs twice. Names are "cpuid" and "diskscan".

// Runs a helper of the machine under scan as those functions do; what it printed, as it stands and
// at most 64 MiB. Empty when it printed nothing or more, and when no process could be made.
INVSCAN_EXPORT std::string askHelper(const std::string& name);

// Has the function for that helper take its next answer from this text in place of running it, as
// long as the same machine is scanned. The text is parsed, and how it was come by goes to the
// access log, when the function is called. To be called before the collectors that ask, by their
// thread.
INVSCAN_EXPORT void giveHelperOutput(const std::string& name, std::string output,
                                     const Access& how);

}  // namespace invscan

// Runs a helper without arguments and prints its answer to standard output; 0 when it gave a valid
// one, otherwise 1 and a line on standard error.
INVSCAN_EXPORT int vtExecTest(const char* command);

// What a helper itself writes first: its response line, to standard output; the message may be
// null.
INVSCAN_EXPORT void vtDumpResponse(int result, const char* message);
