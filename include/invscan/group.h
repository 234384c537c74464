// The base class of every collector, and the collection of a table within a time limit.
#pragma once

#include <list>
#include <utility>

#include <invscan/base/CpuThreshold.h>
#include <invscan/base/Event.h>
#include <invscan/base/String.h>
#include <invscan/base/Thread.h>
#include <invscan/export.h>
#include <invscan/table.h>

// Name and value of a configuration attribute.
using AttributeList = std::list<std::pair<String, String>>;

// One inventory group of the machine. Belongs to whoever got it from the factory.
//
// A group and its tables are for one thread at a time. Threads may collect different groups at the
// same time as long as none changes the machine, the configuration or the firmware table meanwhile;
// Operating System and Regional set the process's locale and time zone, as hosts expect, so that
// other threads had better not convert texts while these two are collected.
class INVSCAN_EXPORT KelGroup {
 public:
  KelGroup(unsigned long id, unsigned long version);
  // Extra tables, attribute lists and the threshold belong to others and stay.
  virtual ~KelGroup();
  KelGroup(const KelGroup&) = delete;
  KelGroup& operator=(const KelGroup&) = delete;

  // Collects the group anew: a table that the caller deletes, or null when this machine has nothing
  // of the kind (which is not the same as a table without rows). May run commands and block as long
  // as they do. Never throws.
  virtual KelTable* getTable() = 0;

  // What GetTableThread runs; null unless a group collects within a time limit.
  virtual KelTable* generateTable();

  unsigned long getGroupId() const;
  unsigned long getGroupVersion() const;
  // The catalogue's name for the id; "Unknown" when it has none.
  String getGroupName() const;

  // The factory's throttle; borrowed. iteration() holds the process to its share, and does nothing
  // without one; collectors call it between expensive steps.
  void setCpuThreshold(CpuThreshold* threshold);
  void iteration();

  // Further tables that a host attached to the group; borrowed.
  void addExtraTable(KelTable* table);
  int getExtraTableCount() const;
  KelTable* getExtraTable(int index) const;  // null when there is none

  // A flag for hosts; nothing in the library reads it.
  void setMobilityFlag(int flag);
  int getMobilityFlag() const;

  // The factory's attribute lists; borrowed.
  void setGlobalAttrs(const AttributeList* attributes);
  void setGroupAttrs(const AttributeList* attributes);
  // The value of the first attribute of that name from the hardware configuration file: for this
  // group, or for all groups. Null when there is none, or the group was made by id. The text
  // belongs to the factory and lives as long.
  const wchar_t* getGroupAttr(const wchar_t* name) const;
  const wchar_t* getGlobalAttr(const wchar_t* name) const;

 private:
  unsigned long version_;
  unsigned long id_;
  KelTable** extraTables_ = nullptr;
  int extraTableCount_ = 0;
  int mobilityFlag_ = 0;
  const AttributeList* globalAttributes_ = nullptr;
  const AttributeList* groupAttributes_ = nullptr;
  CpuThreshold* cpuThreshold_ = nullptr;
};

static_assert(sizeof(KelGroup) == 64, "sizes are part of the exchange format");

// Runs one group's generateTable() on a thread of its own, so that the caller can give up:
//   start(), then Event::wait(get_Time()) on the event; when it returns 0, get_table(), join() and
//   delete both; when it timed out, leave thread and event alone for ever.
// Group and event are borrowed. The thread uses the group until run() returns, also after a
// time-out: a group that its host may delete by then hands the thread a worker object of its own.
class INVSCAN_EXPORT GetTableThread : public Thread {
 public:
  GetTableThread(KelGroup* group, Event* done);

  // Takes the limit from the key "hwscanner.timeout": 200000 when it is empty or the store reports
  // an error, else its leading decimal number (0 when it has none), at most what an int holds.
  void set_Time();
  int get_Time() const;  // milliseconds
  // The table that run() made, which the caller then owns; null before.
  KelTable* get_table() const;

  void run() override;

 private:
  KelGroup* group_;
  KelTable* table_ = nullptr;
  Event* done_;
  int limit_;
};

// The limit for one file-system query in microseconds, from the same key: 5000000 when it is empty
// or the store reports an error. One key serves both limits with different defaults and units:
// another key would leave hosts that set this one with the default.
INVSCAN_EXPORT int GetORVMaxTimeout();

// When the library was built: "16/09/15" (year, month, day) and "04:18:07".
INVSCAN_EXPORT extern const char RVLT_BuildDate[];
INVSCAN_EXPORT extern const char RVLT_BuildTime[];

// The two as a date-time of 26 characters in a static buffer.
INVSCAN_EXPORT char* getBuildDateRVLT();

// A number as decimal text in a static buffer, which the next call overwrites.
INVSCAN_EXPORT char* itoa(long value);
