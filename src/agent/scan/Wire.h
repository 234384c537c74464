// How a worker's answers travel to the agent.
//
// Numbers are 64-bit words in the machine's own order. Before a worker begins with a job it says
// so: the job's number, with the topmost bit set; all bits are set when it waits for orders what to
// go on with. An answer to a job is the number of bytes that follow, and then the payload:
//   status             0: the group has no table on this machine, 1: it has one
//   milliseconds       that collecting took, as a double
//   rows               only with a table: their number; each is the number of its records and then
//                      the value records (invscan/table.h) byte for byte
//   accesses           their number; each is source, outcome (a length and its characters) and the
//                      milliseconds as a double
// The agent trusts no word of it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <invscan/machine.h>
#include <invscan/table.h>

#include "agent/scan/Scan.h"

namespace invscan::agent {

inline constexpr std::size_t kPayloadLimit = 256 << 20;

// The payload of an answer; a null table means that the machine has none.
std::string encodePayload(KelTable* table, double milliseconds,
                          const std::vector<Access>& accesses);

// A worker's end of the pipe. An answer goes with what follows it: the agent, which may have to
// take the processor from the worker to look at a message, is woken half as often.
class Outbox {
 public:
  explicit Outbox(int descriptor) : descriptor_(descriptor) {}
  Outbox(const Outbox&) = delete;
  Outbox& operator=(const Outbox&) = delete;
  ~Outbox() { send(); }

  int descriptor() const { return descriptor_; }

  // Tells that the worker begins with a job. Returns whether all so far was written.
  bool begin(std::size_t job);
  // Tells that it waits for orders. Returns whether all so far was written.
  bool wait();
  // Answers the job, with the next begin(), wait() or send().
  void answer(const std::string& payload);
  bool send();

 private:
  int descriptor_;
  std::string waiting_;
};

// The first message in bytes that have come.
struct Message {
  enum class Kind { Partial, Begin, Wait, Answer, TooLarge };

  Kind kind;
  std::size_t size = 0;           // of the whole message, in bytes
  std::size_t job = 0;            // of Begin
  std::string_view payload = {};  // of Answer
};
Message firstMessage(std::string_view bytes);

// Fills status, milliseconds, rows and accesses. Returns false, and leaves the result alone, when
// the bytes are not exactly one payload with consistent records.
bool decodePayload(std::string_view payload, GroupResult& result);

}  // namespace invscan::agent
