// The library's entry: hands out collectors by id or by name.
//
// A host's whole sequence:
//   GroupFactory* factory = GroupFactory::getInstance();
//   factory->initialise();
//   std::list<String> names;
//   factory->getAllGroups(names);
//   for (const String& name : names) {
//     std::unique_ptr<KelGroup> group(factory->getGroup(name));
//     std::unique_ptr<KelTable> table(group ? group->getTable() : nullptr);
//     ... print or forward the rows (table.h, print.h) ...
//   }
#pragma once

#include <list>
#include <map>
#include <vector>

#include <invscan/base/CpuThreshold.h>
#include <invscan/base/String.h>
#include <invscan/export.h>
#include <invscan/group.h>

class ProcessorInfo;
class QCMInfo;

class INVSCAN_EXPORT GroupFactory {
 public:
  // The one instance, made on the first call, which must come from one thread before others use the
  // library; it lives as long as the process.
  static GroupFactory* getInstance();
  virtual ~GroupFactory();
  GroupFactory(const GroupFactory&) = delete;
  GroupFactory& operator=(const GroupFactory&) = delete;

  // Finds the hardware configuration file (setHWConfigFile) and makes the firmware table that
  // collectors share (smbios.h), which reads it from the machine under scan on the first call, and
  // on the first one after another machine became current. Always returns 1.
  int initialise();

  // Sets m_HWConfigFile to the key "config_dir", the path separator and the key
  // "hwscanner.config_file", or "OrvHWConfig.xml" when that is empty. The directory comes first
  // also when the file is an absolute path: hosts expect it; kept.
  void setHWConfigFile();

  // Appends the names of all groups, in catalogue order, to the list, which keeps what it holds.
  // Returns 0.
  int getAllGroups(std::list<String>& names);

  // A new collector for a catalogue id, without throttle and configuration attributes; null for an
  // id that has none. The caller deletes it.
  KelGroup* getKELGroup(unsigned long id);

  // A new collector for a catalogue name (exact, case-sensitive), with the factory's throttle and
  // the configuration attributes of the group; null for an unknown name. Throttles once itself.
  // The caller deletes it.
  KelGroup* getGroup(const String& name);

  // Brackets around a scan, for hosts; they do nothing.
  void startScan() {}
  void endScan() {}

 private:
  GroupFactory() = default;

  std::vector<ProcessorInfo*> processors_;
  std::vector<QCMInfo*> qcms_;

 public:
  String m_HWConfigFile;  // empty until setHWConfigFile()

 private:
  std::list<String> strings_;
  AttributeList globalAttributes_;
  std::map<String, AttributeList> groupAttributes_;
  String priority_;
  String cpuThresholdText_;
  CpuThreshold cpuThreshold_;

  INVSCAN_EXPORT static GroupFactory* singleton_;
};
