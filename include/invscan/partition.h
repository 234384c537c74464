// The rules by which the partition group (groups.h) takes mounts and swap areas.
//
// These are the classic rules, whatever the store's hwscanner.sources says: names of file systems
// are compared as they are written, case included. A null pointer is an empty text.
#pragma once

#include <invscan/export.h>

// Add to the table that PartitionGroup::getTable() is making on this thread, and do nothing when it
// makes none; a host that calls getTable() has no need of them.
//
// One row for a mount, unless it is one of the kernel's own kinds (device, directory or type say
// so), or of a remote type and these are not wanted. Asks for the statistics of the directory, and
// so may wait; see statistics.h.
INVSCAN_EXPORT void doEntry(const char* device, const char* mountDir, const char* fsType,
                            bool skipRemote);
// One row for each swap area that /proc/swaps lists.
INVSCAN_EXPORT void addSwapPartitions();

// The code of FILE_SYSTEM_TYPE_ENUM_DEF (catalogue.h) for a mount's type; 65535 for one that is not
// known. "minix" is not known, but "minux" is: hosts have machines on record by that.
INVSCAN_EXPORT unsigned long get_fstype_enum(const char* fsType);

// Whether a type is a network file system: nfs, nfs4, afs, cifs, smbfs, gpfs or mvfs.
INVSCAN_EXPORT bool isRemote(const char* fsType);

// Whether a type is known to be local. tmpfs and rootfs are; xfs, btrfs and many others are not.
INVSCAN_EXPORT bool ValidPartitionFileSys(const char* fsType);

// The value of PART_MEDIA_TYPE_ENUM_DEF: 4 for a remote type, 5 for iso9660, 2 for a device with
// "/dev/fd" in its name or a type with "subfs" in it, 3 for a local type, else 0.
INVSCAN_EXPORT unsigned long getMediaType(const char* fsType, const char* device);
