// How a worker's answers travel to the agent.
//
// Numbers are 64-bit words in the machine's own order. Before a worker begins with a job it says
// so: the job's number, with the topmost bit set. An answer to it is the number of bytes that
// follow, and then the payload:
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

// Tells that a worker begins with a job. Returns whether all was written.
bool sendBegin(int descriptor, std::size_t job);

// The payload of an answer; a null table means that the machine has none.
std::string encodePayload(KelTable* table, double milliseconds,
                          const std::vector<Access>& accesses);

// Writes an answer. Returns whether all was written.
bool sendAnswer(int descriptor, const std::string& payload);

// The first message in bytes that have come.
struct Message {
  enum class Kind { Partial, Begin, Answer, TooLarge };

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
