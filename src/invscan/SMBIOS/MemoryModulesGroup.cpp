#include <invscan/catalogue.h>

#include "invscan/com/model/Traits.h"

const kelAttribDef MEMORY_MODULES_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "Module Size MB", KEL_ULONG, 0, nullptr},
    {3, "Max Module Size MB", KEL_ULONG, 0, nullptr},
    {4, "Socket Name", KEL_STRING, 24, nullptr},
    {5, "Packaging", KEL_STRING, 16, nullptr},
    {6, "Memory Type", KEL_STRING, 48, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kMemoryModulesTraits[] = {
    {1, "", Stable, kPublic, "Running number of the memory socket, from 1.", kFirmwareTables,
     nullptr},
    {2, "MB", Stable, kPublic, "Size of the module, 0 for an empty socket.", kFirmwareTables, "0"},
    {3, "MB", Stable, kPublic, "Largest module that a socket takes.", kFirmwareTables, "0"},
    {4, "", Stable, kPublic, "Name of the socket, followed by its bank.", kFirmwareTables, nullptr},
    {5, "", Stable, kPublic, "Form of the module.", kFirmwareTables, nullptr},
    {6, "", Stable, kPublic, "Technology of the module.", kFirmwareTables, nullptr},
    kEndOfTraits,
};

}  // namespace invscan
