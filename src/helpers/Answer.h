// What every helper answers: a response, and behind it its tree.
#pragma once

#include <exception>

#include <invscan/vartree.h>

#include "common/vartree/TreeWriter.h"

namespace invscan {

inline constexpr int kHelperFailed = 1;

// Scans the machine, with or without the flag that the helper knows, and returns the first node of
// the answer, which lives to the end of the process; its siblings are part of the answer too. What
// it throws is the message of an answer that failed.
using HelperScan = const VtNode* (*)(bool isFlagged);

// Returns the helper's exit status.
inline int writeAnswer(HelperScan scan, bool isFlagged, TreeWriter& writer) {
  try {
    const VtNode* node = scan(isFlagged);
    writer.response(0, "OK");
    for (; node; node = node->next) writer.node(*node, 0);
    return 0;
  } catch (const std::exception& error) {
    writer.response(kHelperFailed, error.what());
    return kHelperFailed;
  }
}

}  // namespace invscan
