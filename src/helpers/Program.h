// What every helper program does around its scan: the command line, and the answer on standard
// output.
#pragma once

#include <csignal>
#include <cstdio>
#include <string>

#include <invscan/machine.h>

#include "helpers/Answer.h"

namespace invscan {

inline constexpr int kWrongUsage = 2;

class Program {
 public:
  // An option without argument, or none.
  struct Flag {
    std::string word, description;
  };
  // The description is one sentence or more, with line ends.
  Program(std::string name, std::string description, HelperScan scan, Flag flag = {})
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
    TreeWriter writer(stdout);
    return writeAnswer(scan_, isFlagged_, writer);
  }

  const std::string name_, description_;
  const HelperScan scan_;
  const Flag flag_;
  bool isHelp_ = false, isFlagged_ = false;
  const char* machine_ = nullptr;
  const char* recording_ = nullptr;
  std::string error_;
};

}  // namespace invscan
