// What tests of child processes and files share.
#pragma once

#include <sys/resource.h>

#include "Testing.h"

namespace invscan {

// Where the descriptors of a process lead.
inline std::vector<std::string> descriptorsOf(pid_t pid) {
  std::vector<std::string> targets;
  std::error_code error;
  const std::string directory = "/proc/" + std::to_string(pid) + "/fd";
  for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
    const std::string target = std::filesystem::read_symlink(entry, error);
    if (target != directory) targets.push_back(target);
  }
  return targets;
}

// One letter; X when there is no such process.
inline char stateOf(pid_t pid) {
  const std::string text = contents("/proc/" + std::to_string(pid) + "/stat");
  const std::size_t end = text.rfind(") ");
  return end == std::string::npos ? 'X' : text[end + 2];
}

// Children of this thread that were not reaped, ended or not.
inline std::vector<pid_t> children() {
  std::istringstream list(contents("/proc/thread-self/children"));
  return {std::istream_iterator<pid_t>(list), {}};
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

// From now on no process can be made; only for a forked copy, as it gives up being root.
inline void forbidForks() {
  if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) _exit(99);
  const rlimit none{0, 0};
  setrlimit(RLIMIT_NPROC, &none);
}

class Stopwatch {
 public:
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
  }

 private:
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

// What has not happened by then never will, however busy the machine is.
constexpr double kPatienceSeconds = 60;

// Whether a process has ended, reaped or not, or does while a test is patient.
inline bool endsSoon(pid_t pid) {
  const Stopwatch watch;
  while (stateOf(pid) != 'X' && stateOf(pid) != 'Z') {
    if (watch.seconds() > kPatienceSeconds) return false;
    usleep(1000);
  }
  return true;
}

// On this machine, with a directory of its own.
class InDirectory : public testing::Test {
 protected:
  InDirectory() {
    char name[] = "/tmp/invscan-test-XXXXXX";
    directory_ = mkdtemp(name);
    useLiveMachine();
  }
  ~InDirectory() override {
    useLiveMachine();
    std::filesystem::remove_all(directory_);
  }

  void write(const std::string& name, const std::string& text) const {
    create_directories((directory_ / name).parent_path());
    std::ofstream(directory_ / name, std::ios::binary) << text;
  }

  std::filesystem::path directory_;
};

}  // namespace invscan
