// The kinds of floppy drives, by the number that the firmware's set-up has for each.
#pragma once

#include <string>
#include <string_view>

#include "invscan/linux/storage/StorageDevice.h"

namespace invscan {

struct FloppyKind {
  unsigned long setUp;      // of the firmware
  std::string_view driver;  // what the driver calls it, in either case
  const char* model;
  unsigned long cylinders, sectors;
};

inline constexpr FloppyKind kFloppyKinds[] = {
    {1, "d360", "5.25 inch 360 KB", 40, 9},   {2, "h1200", "5.25 inch 1.2 MB", 80, 15},
    {3, "d720", "3.5 inch 720 KB", 80, 9},    {4, "h1440", "3.5 inch 1.44 MB", 80, 18},
    {5, "e2880", "3.5 inch 2.88 MB", 80, 36}, {6, "e2880", "3.5 inch 2.88 MB", 80, 36},
};

// A drive of a kind; null is one that nothing more is known of.
inline StorageDevice floppyDrive(const std::string& name, const FloppyKind* kind) {
  StorageDevice drive;
  drive.type = kFloppy;
  drive.name = name;
  if (!kind) return drive;
  drive.model = kind->model;
  drive.cylinders = kind->cylinders;
  drive.sectors = kind->sectors;
  drive.heads = 2;
  drive.kilobytes = drive.cylinders * drive.sectors * drive.heads / 2;
  return drive;
}

}  // namespace invscan
