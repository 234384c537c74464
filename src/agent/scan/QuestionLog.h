// What a worker asks, kept where the agent finds it when the worker had to be killed.
#pragma once

#include <string>
#include <vector>

#include <invscan/machine.h>

namespace invscan::agent {

// Memory that is shared with the workers that are forked later. One of them at a time writes to it;
// the agent believes nothing that it reads there.
class QuestionLog {
 public:
  // Where there is no memory for it, nothing is kept.
  QuestionLog();
  ~QuestionLog();
  QuestionLog(const QuestionLog&) = delete;
  QuestionLog& operator=(const QuestionLog&) = delete;

  // In the worker: from now on its questions go here, in place of what was here before.
  void start();

  // What was asked, in that order: the last megabyte of it. What has no answer is kUnanswered.
  std::vector<Access> read() const;

 private:
  struct Notes;

  void append(const Access& access);

  Notes* notes_;
};

}  // namespace invscan::agent
