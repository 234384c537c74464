// The collectors that this version has, and what each needs of whoever runs it. The factory
// (factory.h) makes them for hosts; this list is for those that choose by what is needed, as a host
// does that collects in several processes.
#pragma once

#include <span>

#include <invscan/export.h>
#include <invscan/group.h>

namespace invscan {

// What collecting a group may do; a collector has any number of these.
enum CollectorNeed : unsigned {
  kNeedsNothing = 0,
  // Decodes the firmware's table, which GroupFactory::initialise() reads.
  kNeedsFirmware = 1 << 0,
  // Starts programs when classic sources are asked.
  kNeedsPrograms = 1 << 1,
  // Waits for file systems or devices, or reads what others wrote, in any size.
  kNeedsPatience = 1 << 2,
  // Takes the answer of a helper program (helper.h).
  kNeedsCpuid = 1 << 3,
  kNeedsDiskScan = 1 << 4,
  // Looks up the names of addresses. In one process, one after another, such groups wait only once
  // for name services that do not answer (network.h).
  kNeedsNames = 1 << 5,
  // Looks up names of devices in the database of hardware, which a process loads once.
  kNeedsHardwareNames = 1 << 6,
};

struct Collector {
  unsigned long id;  // in the catalogue
  // A new collector as GroupFactory::getKELGroup() gives it, which the caller deletes.
  KelGroup* (*make)();
  unsigned needs;  // of CollectorNeed
};

// All of them, in the order of their ids. Constant, so that any thread may ask.
INVSCAN_EXPORT std::span<const Collector> collectors();

// The one for a catalogue id; null when this version has none.
INVSCAN_EXPORT const Collector* findCollector(unsigned long id);

}  // namespace invscan
