// One system call at a time fails in a scan by the agent: it ends as it should, and no more differs
// than what needed the call. Prints what each failure cost. INVSCAN_INJECTIONS is how many are
// tried on each machine, spread over all that there are; 0 tries every one.
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>

#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include <invscan/collectors.h>
#include <invscan/traits.h>

#include "Testing.h"

namespace invscan {
namespace {

#define CALL(name) std::pair(SYS_##name, #name)
const std::map<long, const char*> kCalls = {
    CALL(access),  CALL(bind),         CALL(clone),      CALL(clock_nanosleep), CALL(close_range),
    CALL(connect), CALL(dup2),         CALL(ftruncate),  CALL(getdents64),      CALL(ioctl),
    CALL(kill),    CALL(memfd_create), CALL(newfstatat), CALL(openat),          CALL(openat2),
    CALL(pipe2),   CALL(poll),         CALL(prctl),      CALL(pread64),         CALL(pwrite64),
    CALL(read),    CALL(readlink),     CALL(readlinkat), CALL(recvfrom),        CALL(sendto),
    CALL(setpgid), CALL(signalfd4),    CALL(socket),     CALL(socketpair),      CALL(statfs),
    CALL(vfork),   CALL(wait4),        CALL(waitid),     CALL(write),
#ifndef __SANITIZE_ADDRESS__  // memory and threads are its own
    CALL(clone3),  CALL(mmap),         CALL(mprotect),
#endif
};
#undef CALL

// Each is tried with every error: sandboxes, security modules and file systems in user space have
// them of all calls. Those that signals interrupt are made again.
constexpr int kErrors[] = {EINTR, EAGAIN, EACCES, EIO, EMFILE, ENOMEM, ENOBUFS};
const std::set<long> kInterruptible = {
    SYS_clock_nanosleep, SYS_ioctl,  SYS_openat, SYS_openat2, SYS_poll,   SYS_read,
    SYS_recvfrom,        SYS_sendto, SYS_statfs, SYS_wait4,   SYS_waitid, SYS_write};

// What others' code reads, once and for all: locales, zones, libraries, the hardware database.
constexpr const char* kOthersFiles[] = {"/locale/", "time zone", "/proc/self/fd/", ".so",
                                        "hwdb.bin"};

constexpr int kNotTraced = 126;  // exit status
// Seconds that no scan takes, nor what it leaves to end, however busy the machine is.
constexpr unsigned kLongest = 180, kLeaving = 30;

struct Call {
  std::string process;  // "0" is the agent, "0.2" what it forked second
  long number;
  int count;  // of this process's calls by that number
  auto operator<=>(const Call&) const = default;
};

using Fault = std::pair<Call, int>;
using Groups = std::map<std::string, nlohmann::ordered_json>;

struct Process {
  std::string name;
  bool isOurs = true;  // runs no other program
  int children = 0;
  std::map<long, int> counts = {};
};

// Runs a program, with all that it starts, to the end, and has one call fail.
class TracedScan {
 public:
  TracedScan(const std::vector<std::string>& command, const Fault* fault) : fault_(fault) {
    struct sigaction wakeUp {};
    wakeUp.sa_handler = [](int) {};  // waitpid() does not begin anew after it
    sigaction(SIGALRM, &wakeUp, nullptr);
    const pid_t root = start(command);
    waitpid(root, &status, __WALL);
    if (!WIFSTOPPED(status)) return;
    ptrace(PTRACE_SETOPTIONS, root, 0,
           PTRACE_O_TRACESECCOMP | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE |
               PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL);
    processes_[root] = {"0"};
    resume(root);
    follow(root);
    complaints = contents("/proc/self/fd/" + std::to_string(complaints_));
    readGroups(contents("/proc/self/fd/" + std::to_string(output_)));
    close(output_);
    close(complaints_);
  }

  int status = 0;
  std::string complaints;
  Groups groups;  // without what differs from scan to scan
  std::vector<Call> calls;
  std::string hit;      // what failed, in words
  std::string trouble;  // with its end

 private:
  pid_t start(const std::vector<std::string>& command) const {
    std::vector<char*> arguments;
    for (const std::string& each : command) arguments.push_back(const_cast<char*>(each.c_str()));
    arguments.push_back(nullptr);
    sock_filter all = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE);
    const sock_fprog filter{1, &all};
    const pid_t child = fork();
    if (child != 0) return child;
    dup2(output_, STDOUT_FILENO);
    dup2(complaints_, STDERR_FILENO);
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // which traces, too
    if (ptrace(PTRACE_TRACEME, 0, 0, 0) != 0) _exit(kNotTraced);
    raise(SIGSTOP);
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter);
    execv(arguments[0], arguments.data());
    _exit(kNotTraced);
  }

  static void resume(pid_t pid, int signal = 0) { ptrace(PTRACE_CONT, pid, 0, signal); }

  // A program that is late is killed; once it has ended, so is what it leaves behind.
  void follow(pid_t root) {
    std::set<pid_t> early;  // stopped before their parents told of them
    alarm(kLongest);
    while (!processes_.empty()) {
      int change = 0;
      const pid_t pid = waitpid(-1, &change, __WALL);
      const int event = change >> 16;
      if (pid < 0) {
        if (errno != EINTR) break;
        trouble = processes_.count(root) ? "does not end" : "leaves processes behind";
        for (const auto& [each, process] : processes_) kill(each, SIGKILL);
      } else if (!WIFSTOPPED(change)) {
        processes_.erase(pid);
        if (pid == root) status = change, alarm(kLeaving);
      } else if (event == PTRACE_EVENT_SECCOMP || event == PTRACE_EVENT_EXEC) {
        if (event == PTRACE_EVENT_EXEC) {
          processes_[pid].isOurs = pid == root;
        } else {
          meet(pid);
        }
        resume(pid);
      } else if (event != 0) {
        unsigned long born = 0;
        ptrace(PTRACE_GETEVENTMSG, pid, 0, &born);
        Process& parent = processes_[pid];
        const std::string name = parent.name + "." + std::to_string(++parent.children);
        const pid_t child = static_cast<pid_t>(born);
        processes_[child] = {name, parent.isOurs};
        if (early.erase(child)) resume(child);
        resume(pid);
      } else if (processes_.count(pid) == 0) {
        early.insert(pid);
      } else {
        resume(pid, WSTOPSIG(change) == SIGSTOP ? 0 : WSTOPSIG(change));  // children begin with it
      }
    }
    alarm(0);
  }

  // A call that is about to be made.
  void meet(pid_t pid) {
    Process& process = processes_[pid];
    if (!process.isOurs || !hit.empty()) return;
    user_regs_struct registers;
    ptrace(PTRACE_GETREGS, pid, 0, &registers);
    const long number = static_cast<long>(registers.orig_rax);
    // The first thing that the agent itself does; before it, the loader.
    hasBegun_ |= number == SYS_fcntl && registers.rdi == 0 && registers.rsi == F_GETFD;
    if (!hasBegun_ || kCalls.count(number) == 0) return;
    const Call call{process.name, number, ++process.counts[number]};
    if (!fault_) calls.push_back(call);
    if (!fault_ || call != fault_->first) return;
    const std::string name = kCalls.at(number);
    hit = call.process + " " + name + " " + std::to_string(call.count) + " " +
          strerrorname_np(fault_->second) + " " + file(pid, name.starts_with("openat"), registers);
    registers.orig_rax = -1ul;
    registers.rax = static_cast<unsigned long>(-fault_->second);
    ptrace(PTRACE_SETREGS, pid, 0, &registers);
  }

  // The file that a call is about, by its path or its descriptor.
  static std::string file(pid_t pid, bool isPath, const user_regs_struct& registers) {
    const std::string directory = "/proc/" + std::to_string(pid);
    const std::string descriptor = directory + "/fd/" + std::to_string(registers.rdi);
    std::error_code error;
    if (!isPath) return fs::read_symlink(descriptor, error).string();
    std::ifstream memory(directory + "/mem", std::ios::binary);
    memory.seekg(static_cast<std::streamoff>(registers.rsi));
    std::string path;
    std::getline(memory, path, '\0');
    return path;
  }

  void readGroups(const std::string& output) {
    const auto whole = nlohmann::ordered_json::parse(output, nullptr, false);
    if (!whole.is_object()) return;
    for (const auto& [name, group] : whole.at("groups").items()) {
      auto& kept = groups[name] = group;
      kept.erase("duration_ms");
      const kelGroupDef* const definition = getGroupDefinitionFromId(group.at("id"));
      for (const kelAttribDef* each = definition->attribs; each->id != kEndOfTable; ++each) {
        if (attributeTraits(definition->id, each->id)->behaviour != Behaviour::Volatile) continue;
        for (auto& row : kept.at("rows")) row.erase(each->name);
      }
    }
  }

  const Fault* const fault_;
  const int output_ = memfd_create("output", MFD_CLOEXEC);
  const int complaints_ = memfd_create("complaints", MFD_CLOEXEC);
  std::map<pid_t, Process> processes_;
  bool hasBegun_ = false;
};

// What groups share: helpers' answers, the firmware's table, name services, the hardware database.
unsigned sharedBy(const kelGroupDef& group) {
  constexpr unsigned kShared = kNeedsCpuid | kNeedsDiskScan | kNeedsFirmware | kNeedsNames;
  const bool hasNamesOfHardware = group.id == 5 || group.id == 7 || group.id == 29;
  const unsigned needs = findCollector(group.id)->needs & kShared;
  const bool hasHelper =
      needs & (kNeedsCpuid | kNeedsDiskScan);  // where the agent is tells of both
  return needs | (hasNamesOfHardware ? 1u << 31 : 0) | (hasHelper ? 1u << 30 : 0);
}

// What is wrong with how a scan went; empty when nothing is. The cost is named.
std::string complaint(const TracedScan& whole, const TracedScan& run, const Fault& fault,
                      std::string& cost) {
  if (!run.trouble.empty()) return run.trouble;
  if (!WIFEXITED(run.status)) return "ends by a signal";
  if (run.complaints.find("internal error") != run.complaints.npos) return "internal error";
  const bool isOthers = std::any_of(std::begin(kOthersFiles), std::end(kOthersFiles),
                                    [&](auto file) { return run.hit.find(file) != run.hit.npos; });
  const auto& [call, error] = fault;
  const bool isInterruption = error == EINTR && !isOthers && kInterruptible.count(call.number) != 0;
  if (run.groups.empty()) {  // the agent itself could not go on
    const bool isOneLine = run.complaints.find('\n') + 1 == run.complaints.size();
    const bool isAgent = run.hit.starts_with("0 ") && WEXITSTATUS(run.status) == 2;
    const bool isTold = isAgent && isOneLine && !run.complaints.empty();
    return isTold && !isInterruption ? "" : "no answer";
  }
  unsigned shared = ~0u;
  int count = 0;
  for (const auto& [name, group] : whole.groups) {
    if (run.groups.at(name) == group) continue;
    const std::string trouble = run.groups.at(name).value("trouble", "");
    if (trouble.starts_with("no answer within")) return name + " timed out";
    cost += " [" + name + "]";
    shared &= sharedBy(*getGroupDefinitionFromId(group.at("id")));
    ++count;
  }
  if (count > 1 && shared == 0) return "too much differs";
  return isInterruption && count > 0 ? "is not asked again" : "";
}

class Injection : public testing::TestWithParam<const char*> {};

TEST_P(Injection, OfOneErrorCostsNoMoreThanWhatNeedsTheCall) {
  std::istringstream words(INVSCAN_AGENT " scan --format json --timeout 60 " +
                           std::string(GetParam()));
  const std::vector<std::string> command(std::istream_iterator<std::string>(words), {});
  auto whole = std::make_unique<TracedScan>(command, nullptr);
  if (WEXITSTATUS(whole->status) == kNotTraced) GTEST_SKIP() << "nothing may be traced here";
  std::sort(whole->calls.begin(), whole->calls.end());
  std::vector<Fault> faults;
  for (const Call& call : whole->calls) {
    for (const int error : kErrors) faults.emplace_back(call, error);
  }
  ASSERT_FALSE(faults.empty());
  const char* const asked = getenv("INVSCAN_INJECTIONS");
  const std::size_t limit = asked ? strtoul(asked, nullptr, 10) : 40;
  const std::size_t count = limit == 0 ? faults.size() : std::min(limit, faults.size());
  for (std::size_t i = 0; i < count; ++i) {
    const Fault& fault = faults[i * faults.size() / count];
    std::string wrong = "yes";
    // A live machine may have changed meanwhile, or be too busy for a name service.
    for (int attempt = 0; attempt < 3 && !wrong.empty(); ++attempt) {
      if (attempt > 0) whole = std::make_unique<TracedScan>(command, nullptr);
      const TracedScan run(command, &fault);
      std::string cost = " status " + std::to_string(WEXITSTATUS(run.status));
      if (run.status == whole->status) cost.clear();
      // Which worker makes which call is not always the same.
      wrong = run.hit.empty() ? "" : complaint(*whole, run, fault, cost);
      std::cout << run.hit << " =>" << cost << "\n";
      if (!wrong.empty()) wrong += ": " + run.hit + cost + "\n" + run.complaints;
    }
    EXPECT_EQ(wrong, "");
  }
  std::cout << count << " of " << faults.size() << " failures, " << GetParam() << "\n";
}

// One worker at a time makes the same calls each time. A classic scan of a live machine starts
// programs, whose leak checker cannot end in one that is traced.
#define MACHINES "--machine " INVSCAN_TESTS_DIR "/machines/"
#ifdef __SANITIZE_ADDRESS__
INSTANTIATE_TEST_SUITE_P(OfMachines, Injection,
                         testing::Values("--jobs 1", "--jobs 1 " MACHINES "disks",
                                         "--classic " MACHINES "current-systemd"));
#else
INSTANTIATE_TEST_SUITE_P(OfMachines, Injection,
                         testing::Values("--jobs 1", "--classic", "--jobs 1 " MACHINES "disks",
                                         "--classic " MACHINES "current-systemd"));
#endif

}  // namespace
}  // namespace invscan
