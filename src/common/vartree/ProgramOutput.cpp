#include "common/vartree/ProgramOutput.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>
#include <vector>

#include "base/Descriptor.h"

namespace invscan {

std::optional<std::string> readProgramOutput(const char* path, const char* arguments, const char*,
                                             std::size_t limit) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return std::nullopt;
  Descriptor output(ends[0]), input(ends[1]);
  std::istringstream words(arguments ? arguments : "");
  std::vector<std::string> texts{path};
  for (std::string word; words >> word;) texts.push_back(word);
  std::vector<char*> vector;
  for (std::string& text : texts) vector.push_back(text.data());
  vector.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, input.get(), 1);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  const int error = posix_spawn(&pid, path, &actions, nullptr, vector.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  input.close();
  if (error != 0) return std::string();
  std::string text;
  readAll(output.get(), text, limit + 1);
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  if (text.size() > limit) text.clear();
  return text;
}

}  // namespace invscan
