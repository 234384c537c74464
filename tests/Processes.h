// What tests of child processes look at.
#pragma once

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace invscan {

// Descriptors of a process, by where they lead.
inline std::vector<std::string> descriptorsOf(pid_t pid) {
  std::vector<std::string> targets;
  std::error_code error;
  const std::string directory = "/proc/" + std::to_string(pid) + "/fd";
  for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
    const auto target = std::filesystem::read_symlink(entry, error).string();
    if (target != "/proc/" + std::to_string(pid) + "/fd") targets.push_back(target);
  }
  return targets;
}

// One letter; X when there is no such process.
inline char stateOf(pid_t pid, pid_t* parent = nullptr) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string text;
  std::getline(file, text);
  const std::size_t end = text.rfind(") ");
  if (end == std::string::npos) return 'X';
  if (parent) *parent = std::stoi(text.substr(end + 4));
  return text[end + 2];
}

// Children that were not reaped, ended or not.
inline std::vector<pid_t> childrenOf(pid_t pid) {
  std::vector<pid_t> children;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    pid_t parent = 0;
    const pid_t process = std::atoi(entry.path().filename().c_str());
    if (process > 0 && stateOf(process, &parent) != 'X' && parent == pid) {
      children.push_back(process);
    }
  }
  return children;
}

// The exit code of a copy of this process that runs a function.
template <class Function>
int inFork(Function function) {
  const pid_t pid = fork();
  if (pid == 0) _exit(function());
  int status = -1;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// While it stands, no process can be made; only for a forked copy, as it gives up being root.
class NoForks {
 public:
  NoForks() {
    if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) _exit(99);
    set(0);
  }
  NoForks(const NoForks&) = delete;
  NoForks& operator=(const NoForks&) = delete;
  ~NoForks() { set(before_.rlim_max); }

 private:
  void set(rlim_t limit) {
    if (limit == 0) getrlimit(RLIMIT_NPROC, &before_);
    const rlimit wanted{limit, before_.rlim_max};
    setrlimit(RLIMIT_NPROC, &wanted);
  }

  rlimit before_{};
};

class Stopwatch {
 public:
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
  }

 private:
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

// Whether a process has ended, reaped or not, or does within a few seconds.
inline bool endsSoon(pid_t pid) {
  const Stopwatch watch;
  while (stateOf(pid) != 'X' && stateOf(pid) != 'Z') {
    if (watch.seconds() > 5) return false;
    usleep(1000);
  }
  return true;
}

}  // namespace invscan
