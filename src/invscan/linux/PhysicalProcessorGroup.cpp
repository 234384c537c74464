#include <invscan/catalogue.h>

#include "invscan/com/model/Traits.h"

const kelAttribDef PHYS_PROC_ATTRS_DEF[] = {
    {1, "Id", KEL_ULONG, 0, nullptr},
    {2, "Manufacturer", KEL_STRING, 64, nullptr},
    {3, "Family", KEL_STRING, 64, nullptr},
    {4, "Type", KEL_STRING, 64, nullptr},
    {5, "BrandName", KEL_STRING, 128, nullptr},
    {6, "Signature", KEL_STRING, 16, nullptr},
    {7, "ClockMHz", KEL_ULONG, 0, nullptr},
    {8, "TotalCoreCount", KEL_ULONG, 0, nullptr},
    {9, "ActiveCoreCount", KEL_ULONG, 0, nullptr},
    {10, "TotalProcessorCount", KEL_ULONG, 0, nullptr},
    {11, "ActiveProcessorCount", KEL_ULONG, 0, nullptr},
    {12, "L2CacheSizeKB", KEL_ULONG, 0, nullptr},
    {13, "L3CacheSizeKB", KEL_ULONG, 0, nullptr},
    {14, "Is64Bit", KEL_STRING, 1, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kPhysicalProcessorTraits[] = {
    {1, "", Stable, kPublic, "Running number of the package, from 1.", kCpuidHelper, nullptr},
    {2, "", Stable, kPublic, "Maker of the package.", kCpuidHelper, nullptr},
    {3, "", Stable, kPublic, "Name of the processor family.", kCpuidHelper, nullptr},
    {4, "", Stable, kPublic, "Processor type within the family.", kCpuidHelper, nullptr},
    {5, "", Stable, kPublic, "Brand text that the processor reports.", kCpuidHelper, nullptr},
    {6, "", Stable, kPublic, "Signature of family, model and stepping, hexadecimal.", kCpuidHelper,
     nullptr},
    {7, "MHz", Stable, kPublic, "Clock speed of the package.", kCpuidHelper, nullptr},
    {8, "", Stable, kPublic, "Number of cores that the package has.", kCpuidHelper, nullptr},
    {9, "", Stable, kPublic, "Number of cores that the system uses.", kCpuidHelper, nullptr},
    {10, "", Stable, kPublic, "Number of logical processors that the package has.", kCpuidHelper,
     nullptr},
    {11, "", Stable, kPublic, "Number of logical processors that the system uses.", kCpuidHelper,
     nullptr},
    {12, "KiB", Stable, kPublic, "Size of the second-level cache.", kCpuidHelper, nullptr},
    {13, "KiB", Stable, kPublic, "Size of the third-level cache.", kCpuidHelper, nullptr},
    {14, "", Stable, kPublic, "Whether the package runs 64-bit programs, T or F.", kCpuidHelper,
     nullptr},
    kEndOfTraits,
};

}  // namespace invscan
