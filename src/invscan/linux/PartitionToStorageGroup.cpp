#include <invscan/catalogue.h>

#include "invscan/com/model/Traits.h"

const kelAttribDef PART2STOR_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "PartitionAccessPoint", KEL_STRING, 255, nullptr},
    {3, "StorageDevice", KEL_STRING, 50, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kPartitionToStorageTraits[] = {
    {1, "", Stable, kPublic, "Running number of the pair, from 0.", kDiskscanHelper, nullptr},
    {2, "", Identity, kPublic, "Device name of the partition.", kDiskscanHelper, nullptr},
    {3, "", Stable, kPublic, "Name of the device that holds the partition.", kDiskscanHelper,
     nullptr},
    kEndOfTraits,
};

}  // namespace invscan
