// What the agent makes of what stood in the way of a scan.

#include "agent/reasons/Reasons.h"
#include "Testing.h"
#include "agent/Names.h"
#include "agent/formats/Formats.h"
#include "agent/formats/Value.h"
#include "agent/reasons/Completeness.h"
#include "agent/scan/Scanner.h"

namespace invscan::agent {
namespace {

GroupResult makeResult(const char* group, const std::vector<unsigned long>& told,
                       std::vector<Access> accesses) {
  GroupResult result;
  result.group = getGroupDefinitionFromId(getGroupIdFromName(group));
  result.status = told.empty() ? Status::Absent : Status::Ok;
  if (!told.empty()) result.rows.emplace_back();
  for (const unsigned long id : told) result.rows[0].push_back(makeTextRecord(id, "x"));
  result.accesses = std::move(accesses);
  return result;
}

const Access kEntry{"/sys/firmware/dmi/tables/smbios_entry_point", "permission denied"};
const Access kMemory{"/dev/mem", "no such file or directory"};
const Access kUnasked{"/proc/self/mountinfo", "never asked when it was recorded"};

TEST(Completeness, IsAbsentOnlyWhatNothingStoodInTheWayOf) {
  const struct {
    const char *what, *group;
    std::vector<unsigned long> told;
    std::vector<Access> accesses;
    Status status;
    Obstacle obstacle;
  } cases[] = {
      {"not there", "SMBIOS", {}, {kMemory}, Status::Absent, Obstacle::None},
      {"not readable", "SMBIOS", {}, {kEntry, kMemory}, Status::Denied, Obstacle::Denied},
      {"what tells that it is not there needs no rights",
       "HostComponentID",
       {},
       {kEntry},
       Status::Absent,
       Obstacle::None},
      {"what tells of rows was never asked",
       "Partition",
       {},
       {kUnasked},
       Status::Unsupported,
       Obstacle::Unrecorded},
      {"what tells more of rows may not be read",
       "Partition",
       {},
       {{"/run/udev/data/b8:1", "permission denied"}},
       Status::Absent,
       Obstacle::None},
      {"some values", "ComponentID", {1, 16}, {kEntry}, Status::Ok, Obstacle::Denied},
      {"all values, from elsewhere",
       "UNIX System Params",
       {1, 2, 3, 4},
       {kEntry},
       Status::Ok,
       Obstacle::None},
      {"a server that is out of reach",
       "Partition",
       {2},
       {{"statvfs /net", "no answer in time"}},
       Status::Ok,
       Obstacle::Unanswered},
      {"a disk that hangs",
       "Storage",
       {},
       {{"device commands", "no answer in time"}},
       Status::Timeout,
       Obstacle::Unanswered},
      {"nothing but defaults",
       "UnixCpuMeter",
       {4711},
       {{"/proc/loadavg", "operation not permitted"}},
       Status::Denied,
       Obstacle::Denied},
  };
  for (const auto& [what, group, told, accesses, status, obstacle] : cases) {
    GroupResult result = makeResult(group, told, accesses);
    judge(result);
    EXPECT_EQ(result.status, status) << what;
    EXPECT_EQ(result.obstacle, obstacle) << what;
    EXPECT_EQ(result.rows.size(), status == Status::Ok) << what;
    EXPECT_EQ(result.trouble.empty(), obstacle == Obstacle::None) << what << result.trouble;
  }
}

TEST(Completeness, WhatOneRowLacksCounts) {
  constexpr unsigned long kSerialNumber = 6;
  const Access vpd{"/sys/block/sdb/device/vpd_pg80", "permission denied"};
  std::vector<unsigned long> all;
  for (const auto* each : attributesOf(*getGroupDefinitionFromId(5))) all.push_back(each->id);
  GroupResult disks = makeResult("Storage", all, {vpd});
  std::erase(all, kSerialNumber);
  GroupResult other = makeResult("Storage", all, {});
  disks.rows.push_back(std::move(other.rows[0]));
  judge(disks);
  EXPECT_EQ(disks.status, Status::Ok);
  EXPECT_EQ(disks.obstacle, Obstacle::Denied);
  EXPECT_NE(disks.trouble.find(vpd.source), std::string::npos) << disks.trouble;
}

TEST(Completeness, AGroupWithoutCollectorIsUnsupported) {
  kelGroupDef other = *getGroupDefinitionFromId(24);
  other.id = 4711;
  const Scan scan = scanGroups({&other}, {});
  EXPECT_TRUE(isIncomplete(scan));
  EXPECT_EQ(formatText(scan), "Not supported by this version: SMBIOS\n");
}

TEST(Reasons, EachIsToldOnceAndEachValueHasItsSource) {
  const GroupResult result = makeResult("ComponentID", {1, 16, 17},
                                        {kEntry,
                                         kMemory,
                                         {"helper cpuid", "ok"},
                                         {"uname", "ok"},
                                         {"uname", "gave Hostname"},
                                         {"helper cpuid", "gave Manufacturer, Host Version"},
                                         {"/etc/machine-id", "ok"}});
  std::vector<std::string> reasons, givers;
  for (const Remark& remark : reasonsOf(result)) reasons.push_back(remark.text);
  for (const Remark& remark : giversOf(result)) {
    givers.push_back(remark.text + ": " + remark.attributes.front());
  }
  std::sort(reasons.begin(), reasons.end());
  EXPECT_EQ(std::adjacent_find(reasons.begin(), reasons.end()), reasons.end());
  EXPECT_EQ(std::count_if(reasons.begin(), reasons.end(),
                          [](const std::string& text) { return text.starts_with(kEntry.source); }),
            1);
  EXPECT_EQ(givers, (std::vector<std::string>{"helper cpuid: Manufacturer", "uname: Hostname",
                                              "/etc/machine-id: Machine ID"}));
}

}  // namespace
}  // namespace invscan::agent
