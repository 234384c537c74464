#include <invscan/catalogue.h>

#include "invscan/com/model/Traits.h"

const kelAttribDef SAN_ADAPTER_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},          {2, "Id", KEL_STRING, 100, nullptr},
    {3, "Description", KEL_STRING, 500, nullptr}, {4, "WWNN", KEL_STRING, 50, nullptr},
    {5, "WWPN", KEL_STRING, 50, nullptr},         {6, "Manufacturer", KEL_STRING, 100, nullptr},
    {7, "Model", KEL_STRING, 100, nullptr},       {8, "SerialNumber", KEL_STRING, 100, nullptr},
    {9, "State", KEL_STRING, 50, nullptr},        {10, "Speed", KEL_STRING, 50, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kSanAdapterTraits[] = {
    {1, "", Stable, kPublic, "Position of the adapter in the helper's list, from 0.",
     kDiskscanHelper, nullptr},
    {2, "", Identity, kPublic,
     "Number of the adapter among the system's host adapters, as in host0.", kDiskscanHelper,
     nullptr},
    {3, "", Stable, kPublic, "What the adapter is, in its driver's words.", kDiskscanHelper,
     nullptr},
    {4, "", Identity, kSensitive, "World-wide name of the adapter's node.", kDiskscanHelper,
     nullptr},
    {5, "", Identity, kSensitive, "World-wide name of the adapter's port.", kDiskscanHelper,
     nullptr},
    {6, "", Stable, kPublic, "Maker of the adapter.", kDiskscanHelper, nullptr},
    {7, "", Stable, kPublic, "Model of the adapter.", kDiskscanHelper, nullptr},
    {8, "", Identity, kSensitive, "Serial number of the adapter.", kDiskscanHelper, nullptr},
    {9, "", Volatile, kPublic, "Whether the port is up.", kDiskscanHelper, nullptr},
    {10, "", Volatile, kPublic, "Speed of the link, as the driver words it.", kDiskscanHelper,
     nullptr},
    kEndOfTraits,
};

}  // namespace invscan
