// Storage devices, by the classic sources: the steps that StorageGroup (groups.h) takes, for hosts
// that call them one by one. All of them ask the machine under scan (machine.h) and none throws.
// What may block is said at each; StorageGroup runs them on a thread that it can leave behind.
#pragma once

#include <cstddef>

#include <invscan/export.h>
#include <invscan/table.h>

// The newest table that a collection began, which belongs to whoever the collection gave it to. The
// gatherers below append to it when a host calls them itself: the host sets it to a table of its
// own before, else the first call makes one. Within a collection they append to that one's table,
// so that one that was left behind hung does not meet another.
//
// Its symbol is plain "table", which hosts know; here it has a name that does not stand in the way
// of theirs.
INVSCAN_EXPORT extern KelTable* storageTable __asm__("table");

// Loads the driver of generic SCSI devices by modprobe: 1 when this call loaded it, 0 when it was
// there before or modprobe is missing or ended with 127. Whoever got 1 unloads it.
INVSCAN_EXPORT int loadSG();

// Whether the process list shows backup software at work: a line that contains "save -s" or ends
// with "save", "recover", "nsrclone" or "nsrstage" where it has that word first. False when ps
// cannot be run.
INVSCAN_EXPORT bool isUltrium_tape_LT4772_running();

// Whether the first occurrence of a word in a line goes on to the line's end (its first newline,
// which is looked for 256 characters far). Null texts match nothing.
INVSCAN_EXPORT bool getExactMatch(const char* line, const char* word);

// Each adds a row to the table for every device of its kind, with an index that it counts up from
// *index, and returns how many it added. A null index counts from 0.
//
// /proc/ide: model, medium, geometry and size from its files, serial number and security from the
// drive's identification, there or by ioctl. The maker is the first of several words of the model.
INVSCAN_EXPORT int gatherIDEDriveInformation(int* index);
// Logical drives in /proc/rd/c0/current_status of a "RAID Controller".
INVSCAN_EXPORT int gatherDAC960RAIDDriveInformation(int* index);
// Logical drives that /bin/mount has as cciss devices, each once, with geometry from fdisk.
INVSCAN_EXPORT int gatherCCISSDriveInformation(int* index);
// Logical drives in the files of /proc/driver/cciss that tell of nr_blocks.
INVSCAN_EXPORT int gatherCompaqSmartRAIDDriveInformation(int* index);
// SCSI devices that have a generic device, by INQUIRY, its pages 0x80 and 0x83 and READ CAPACITY. A
// device that is not ready is not started and has size 0. Disks have the geometry of 255 heads and
// 63 sectors that the kernel gives them. Can block as long as a device does.
INVSCAN_EXPORT int gatherSCSIDriveInformation(int* index);
// Drives /dev/fd0 to /dev/fd7 whose kind the driver tells, with the geometry of that kind. No
// medium is looked for.
INVSCAN_EXPORT int gatherFloppyDriveInformation(int* index);

// The next candidate of a prefix such as "/dev/sg": with "a", "b" ... behind it when letters is not
// 0, otherwise with a number. A counter of this thread goes from 0 up with every call, whatever the
// prefix, and is set back by gatherSCSIDriveInformation() alone; at 255 every answer is null. The
// path, which is released with free(), or null when nothing is there.
INVSCAN_EXPORT char* getNextDrive(const char* prefix, int letters);

// Writes the directories of IDE devices, such as "/proc/ide/ide0/hda", into a list with room for
// kIDEListCapacity entries, and returns how many there are in it. Paths are cut to 254 characters;
// devices beyond the room are left out (the gatherer has room for all).
inline constexpr int kIDEListCapacity = 64;
INVSCAN_EXPORT int determineIDEfilelist(char list[][255]);

// The type (STORAGE_TYPE_ENUM_DEF) of an IDE device by the text of its medium: "cdrom" in it is
// CD-ROM, else "disk" Hard Disk, anything else or null Unknown. That of a SCSI device by its
// peripheral type; 0xFFFFFFFF for kinds that are not reported (2, 3 and 6).
INVSCAN_EXPORT unsigned long resolveIDEtype(const char* media);
INVSCAN_EXPORT unsigned long resolveSCSItype(int peripheralType);

// The geometry that fdisk prints for a device, and its size in KiB by that geometry. 1, with all
// four written; 0, with nothing written, when a pointer is null, something is missing, 0 or beyond
// the range, or fdisk prints nothing of the kind, as today's does. In a name with "/dev/sg" the
// seventh character is taken for "d" (/dev/sg0 is asked for as /dev/sd0): hosts go by it, naive as
// it is.
//
// getFromFdisk reads "Disk /dev/hda: 255 heads, 63 sectors, 1582 cylinders" in the first line with
// the name; getFromFdisk2 the line after it, "255 heads, 63 sectors/track, 30401 cylinders";
// getFromFdiskMount runs fdisk for the device alone and reads the first line with "heads". Its name
// may come from the mount table: one that is not "/dev/" and letters, digits or any of "/_-.:+" is
// refused, and nothing is run.
INVSCAN_EXPORT int getFromFdisk(const char* name, unsigned long* heads, unsigned long* cylinders,
                                unsigned long* sectors, unsigned long* kilobytes);
INVSCAN_EXPORT int getFromFdisk2(const char* name, unsigned long* heads, unsigned long* cylinders,
                                 unsigned long* sectors, unsigned long* kilobytes);
INVSCAN_EXPORT int getFromFdiskMount(const char* name, unsigned long* heads,
                                     unsigned long* cylinders, unsigned long* sectors,
                                     unsigned long* kilobytes);
