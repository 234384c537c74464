// What a scan found, as the agent's commands pass it on.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <invscan/catalogue.h>
#include <invscan/machine.h>
#include <invscan/table.h>

namespace invscan::agent {

enum class Status {
  Ok,
  Absent,   // the group has no table on this machine
  Timeout,  // not done by the deadline, killed
  Crash,    // ended without an answer, or with one that makes no sense
};

struct RecordDeleter {
  void operator()(kelAttribValue* record) const {
    delete[] reinterpret_cast<unsigned char*>(record);
  }
};

// A value record whose length, type and counts have been checked against each other.
using Record = std::unique_ptr<kelAttribValue, RecordDeleter>;
using Row = std::vector<Record>;

struct GroupResult {
  const kelGroupDef* group = nullptr;
  Status status = Status::Absent;
  std::string trouble;  // for Timeout and Crash: what happened, in plain words
  double milliseconds = 0;
  std::vector<Row> rows;
  std::vector<Access> accesses;  // when the scan was asked to explain itself
};

// Of a helper that was run for the groups that need it.
struct HelperResult {
  std::string name;
  Status status = Status::Ok;
  std::string trouble;  // as a group's
};

struct Scan {
  std::string hostName;
  long time = 0;  // seconds since the epoch
  double milliseconds = 0;
  std::vector<GroupResult> groups;  // in catalogue order
  std::vector<HelperResult> helpers;
};

}  // namespace invscan::agent
