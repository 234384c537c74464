// The library's entry: hands out collectors by id or by name.
//
// A host's whole sequence:
//   GroupFactory* factory = GroupFactory::getInstance();
//   factory->initialise();
//   factory->loadNodeFromFile(factory->m_HWConfigFile, 1);  // for settings and throttling
//   std::list<String> names;
//   factory->getAllGroups(names);
//   for (const String& name : names) {
//     std::unique_ptr<KelGroup> group(factory->getGroup(name));
//     std::unique_ptr<KelTable> table(group ? group->getTable() : nullptr);
//     ... print or forward the rows (table.h, print.h) ...
//   }
//
// Threads: the first getInstance(), and whatever loads or changes (initialise, setHWConfigFile,
// loadNodeFromFile and the functions that take nodes), belong to one thread while no other uses the
// library. Between such calls any number of threads may ask for groups, by id or by name, and
// collect from them, each from groups of its own (group.h), and read the records and names; they
// share the throttle.
#pragma once

#include <list>
#include <map>
#include <vector>

#include <invscan/base/CpuThreshold.h>
#include <invscan/base/String.h>
#include <invscan/export.h>
#include <invscan/group.h>

class Node;
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
  // also when the file is an absolute path: hosts that write "/hw.xml" mean a file in that
  // directory.
  void setHWConfigFile();

  // Reads the hardware configuration file (hwconfig.h) by mode: 1 for attributes, priority and
  // throttle (a host calls this with m_HWConfigFile after initialise()), 5 for the records of the
  // last Processors element, 6 for those of the last QCMs element.
  // Returns 0 when it was loaded (and for any other mode, which loads nothing), 2 when it is not a
  // well-formed file within the limits of base/Xml.h, 5 when it cannot be opened for reading or is
  // no regular file, -1 when the element is not in it. Unless that is 0 nothing has changed. The
  // trace tells what is wrong, with its line.
  //
  // Loading again appends global attributes, of which the first of a name counts, replaces those of
  // each group that the file names with attributes, and appends records. Groups that were handed
  // out by name see what is new, and texts that they handed out stay valid.
  //
  // Mode 1 sets the throttle from the attribute "cpuThreshold" of the root, which may be empty for
  // no limit, or from the key "hwscanner.cputhreshold" where there is no such attribute.
  //
  // The file is the host's own also while another machine is replayed.
  int loadNodeFromFile(String path, int mode);

  // Take from a tree what the three modes are about: a Hardware root, or a Group; a Processors
  // element; a QCMs element. Null and other elements give nothing; they keep nothing of the node.
  void getHWGroupFromNode(const Node* node);
  void getProcessorFromNode(Node* node);
  void getQCMFromNode(Node* node);

  // The records loaded so far, in the order of the files. They belong to the factory.
  const std::vector<ProcessorInfo*>& getProcessors() const { return processors_; }
  const std::vector<QCMInfo*>& getQCMs() const { return qcms_; }
  // The paths of the files that were loaded, one for each load.
  const std::list<String>& getLoadedFiles() const { return loadedFiles_; }
  // The "priority" that the file names, empty when none did. What it means is up to the host.
  String getPriority() const { return priority_; }
  // The throttle of all groups handed out by name, and of getGroup itself.
  CpuThreshold& getCpuThreshold() { return cpuThreshold_; }

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
  void startScan();
  void endScan();

 private:
  GroupFactory();
  void takeNode(Node* node, int mode);
  void takeSettings(const Node& root);
  void takeGroup(const Node& group);

  std::vector<ProcessorInfo*> processors_;
  std::vector<QCMInfo*> qcms_;

 public:
  String m_HWConfigFile;  // empty until setHWConfigFile()

 private:
  std::list<String> loadedFiles_;
  AttributeList globalAttributes_;
  std::map<String, AttributeList> groupAttributes_;  // of every group that has a collector
  String priority_;
  String cpuThresholdText_;
  CpuThreshold cpuThreshold_;

  INVSCAN_EXPORT static GroupFactory* singleton_;
};
