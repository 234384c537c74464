#include <invscan/catalogue.h>

#include "invscan/com/model/Traits.h"

const kelAttribDef IPV6_ADDR_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "Address", KEL_STRING, 40, nullptr},
    {3, "Hostname", KEL_STRING, 64, nullptr},
    {4, "Domain", KEL_STRING, 64, nullptr},
    {5, "Subnet", KEL_STRING, 40, nullptr},
    {6, "Gateway", KEL_STRING, 40, nullptr},
    {7, "Primary DNS", KEL_STRING, 40, nullptr},
    {8, "Secondary DNS", KEL_STRING, 40, nullptr},
    {9, "Permanent Mac Address", KEL_STRING, 64, nullptr},
    {10, "Scope", KEL_STRING, 24, nullptr},
    {11, "Adapter Name", KEL_STRING, 128, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kIpv6AddressTraits[] = {
    {1, "", Stable, kPublic, "Running number of the address, from 1.", kInterfaceList, nullptr},
    {2, "", Identity, kSensitive, "IPv6 address of an interface.", kInterfaceList, nullptr},
    {3, "", Identity, kSensitive, "Short host name that the address belongs to.", "host name of *",
     nullptr},
    {4, "", Stable, kSensitive, "Domain of the host name.", "host name of *", nullptr},
    {5, "", Stable, kPublic, "Prefix length of the address.", kInterfaceList, nullptr},
    {6, "", Stable, kSensitive, "Next hop of the interface in the scope of the address.",
     "/proc/net/ipv6_route", nullptr},
    {7, "", Stable, kSensitive, "First name server.", "/etc/resolv.conf", nullptr},
    {8, "", Stable, kSensitive, "Second name server.", "/etc/resolv.conf", nullptr},
    {9, "", Identity, kSensitive, "Hardware address of the interface.", kInterfaceList, nullptr},
    {10, "", Stable, kPublic, "Reach of the address: global, link or site.", kInterfaceList,
     nullptr},
    {11, "", Stable, kPublic, "Name of the interface.", kInterfaceList, nullptr},
    kEndOfTraits,
};

}  // namespace invscan
