// How a worker's answer travels to the agent.
//
// Numbers are 64-bit words in the machine's own order. An answer is the number of bytes that follow
// it, and then the payload:
//   status             0: the group has no table on this machine, 1: it has one
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

// Bytes of the word before the payload.
inline constexpr std::size_t kAnswerHeaderSize = sizeof(unsigned long);
inline constexpr std::size_t kPayloadLimit = 256 << 20;

// The payload of an answer; a null table means that the machine has none.
std::string encodePayload(KelTable* table, const std::vector<Access>& accesses);

// The records of a table that this very process made. Attributes that are null or have no record
// count as none.
std::vector<Row> copiedRows(KelTable& table);

// Writes an answer. Returns whether all was written.
bool sendAnswer(int descriptor, const std::string& payload);

enum class Reception { Partial, Complete, TooLarge };

// How far an answer has come with these bytes.
Reception receptionOf(std::string_view bytes);

// Fills status, rows and accesses. Returns false, and leaves the result alone, when the bytes are
// not exactly one payload with consistent records.
bool decodePayload(std::string_view payload, GroupResult& result);

}  // namespace invscan::agent
