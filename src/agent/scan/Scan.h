// What a scan found, as the agent's commands pass it on.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <invscan/catalogue.h>
#include <invscan/machine.h>
#include <invscan/table.h>

namespace invscan::agent {

enum class Status {
  Ok,
  Absent,       // the group has no table on this machine
  Denied,       // what would tell of it may not be read
  Unsupported,  // this version has no collector for it, or a capture was made without it
  Timeout,      // not done by the deadline, killed
  Crash,        // ended without an answer, or with one that makes no sense
};

// What JSON calls them.
inline constexpr const char* kStatusNames[] = {"ok",          "absent",  "denied",
                                               "unsupported", "timeout", "crash"};

constexpr const char* statusName(Status status) {
  return kStatusNames[static_cast<std::size_t>(status)];
}

// What stood in the way of an answer that may be there.
enum class Obstacle {
  None,
  Denied,      // may not be read
  Unanswered,  // did not answer in time
  Unrecorded,  // was not asked when the capture was made
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
  // What happened, in plain words; for Ok, what stood in the way of values that are missing. Empty
  // for Absent.
  std::string trouble;
  Obstacle obstacle = Obstacle::None;  // of an answer that was not whole
  std::string help;                    // against the obstacle, where anything is known to
  std::string origin;                  // of values that this process could not read itself
  double milliseconds = 0;
  std::vector<Row> rows;
  // All of them when the scan was asked to explain itself, else those that met an obstacle.
  std::vector<Access> accesses;
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
  // What the forms that people and programs read tell besides: why attributes have no value, and
  // which sources were asked.
  bool tellsReasons = false, tellsSources = false;
  bool isSaved = false;  // read from a file: how it was asked for is not known
  // What holds definitions of groups and attributes that the catalogue does not have.
  std::shared_ptr<const void> definitions;
};

}  // namespace invscan::agent
