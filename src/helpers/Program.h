// What every helper program does around its scan: the command line, and the answer on standard
// output.
#pragma once

#include <csignal>
#include <cstdio>
#include <exception>
#include <string>

#include <invscan/helper.h>
#include <invscan/machine.h>
#include <invscan/vartree.h>

namespace invscan {

inline constexpr int kHelperFailed = 1, kWrongUsage = 2;

class Program {
 public:
  // An option without argument, or none.
  struct Flag {
    std::string word, description;
  };
  // Scans, with or without the flag, and returns the first node of the answer, which lives to the
  // end of the process; its siblings are part of the answer too. What it throws is the message of
  // an answer that failed.
  using Scan = const VtNode* (*)(bool isFlagged);

  // The description is one sentence or more, with line ends.
  Program(std::string name, std::string description, Scan scan, Flag flag = {})
      : name_(std::move(name)),
        description_(std::move(description)),
        scan_(scan),
        flag_(std::move(flag)) {}

  // Returns the exit status. Readers go by the response, but a shell may go by the status.
  int run(int count, char** arguments) {
    for (int i = 1; i < count && error_.empty(); ++i)
      i += readOption(arguments[i], arguments[i + 1]);
    if (error_.empty() && machine_ && !isHelp_) replayMachine(machine_, error_);
    if (error_.empty() && recording_ && !isHelp_) joinRecording(recording_, error_);
    if (!error_.empty()) {
      std::fprintf(stderr, "%s: %s\n", name_.c_str(), error_.c_str());
      return kWrongUsage;
    }
    // A reader that has gone is a failure to write.
    std::signal(SIGPIPE, SIG_IGN);
    const int status = isHelp_ ? printHelp() : answer();
    return std::fflush(stdout) == 0 && !std::ferror(stdout) ? status : kHelperFailed;
  }

 private:
  // How many more words it took. The next word is null behind the last.
  int readOption(const std::string& word, const char* next) {
    if (word == "--help") {
      isHelp_ = true;
    } else if (!word.empty() && word == flag_.word) {
      isFlagged_ = true;
    } else if (word == "--machine" && next) {
      machine_ = next;
      return 1;
    } else if (word == "--record" && next) {
      recording_ = next;
      return 1;
    } else if (word == "--machine" || word == "--record") {
      error_ = word + " needs a directory";
    } else {
      error_ = "unknown argument \"" + word + "\"; see " + name_ + " --help";
    }
    return 0;
  }

  int printHelp() const {
    const bool hasFlag = !flag_.word.empty();
    std::printf("usage: %s %s[--machine DIR | --record DIR]\n\n%s\n", name_.c_str(),
                hasFlag ? ("[" + flag_.word + "] ").c_str() : "", description_.c_str());
    if (hasFlag) printOption(flag_.word.c_str(), flag_.description.c_str());
    printOption("--machine DIR", "tell of the machine in a capture");
    printOption("--record DIR", "add what is asked to a capture that is being made");
    printOption("--help", "print this");
    return 0;
  }

  static void printOption(const char* option, const char* description) {
    std::printf("  %-13s  %s\n", option, description);
  }

  int answer() const {
    try {
      const VtNode* node = scan_(isFlagged_);
      vtDumpResponse(0, "OK");
      for (; node; node = node->next) vtDumpNode(node, 0);
      return 0;
    } catch (const std::exception& error) {
      vtDumpResponse(kHelperFailed, error.what());
      return kHelperFailed;
    }
  }

  const std::string name_, description_;
  const Scan scan_;
  const Flag flag_;
  bool isHelp_ = false, isFlagged_ = false;
  const char* machine_ = nullptr;
  const char* recording_ = nullptr;
  std::string error_;
};

}  // namespace invscan
