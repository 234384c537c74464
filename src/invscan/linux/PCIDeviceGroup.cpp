#include <invscan/catalogue.h>

#include "invscan/com/model/Traits.h"

const kelAttribDef PCI_DEVICE_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "Name", KEL_STRING, 255, nullptr},
    {3, "Class", KEL_STRING, 128, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

constexpr char kDevices[] = "/sys/bus/pci/devices/*; /proc/bus/pci/devices";

const AttributeTraits kPciDeviceTraits[] = {
    {1, "", Stable, kPublic, "Running number of the device, from 1.", kDevices, nullptr},
    {2, "", Stable, kPublic,
     "Vendor and device name, or their numbers when the names are not known.", kDevices, nullptr},
    {3, "", Stable, kPublic, "Class of the device, or its number when the name is not known.",
     kDevices, nullptr},
    kEndOfTraits,
};

}  // namespace invscan
