// Reading sysfs: its attributes, and the paths in its links, which tell what a device hangs on.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

namespace invscan {

// The text of an attribute without the white space around it; empty when there is none.
std::string readAttribute(const std::string& path);

// That of the first path whose text is not empty.
std::string firstAttribute(std::initializer_list<std::string> paths);

// A component of a path, counted from its end: 0 is the last one. Empty when there are not as many.
std::string componentFromEnd(std::string_view path, std::size_t number);

// The last component above the path's own name that is this beginning with a digit behind it, such
// as "host2" for "host"; empty when there is none.
std::string ancestorNamed(std::string_view path, std::string_view beginning);

// The address of the last PCI device on a path, such as "0000:00:1f.2"; empty when there is none.
std::string pciAddress(std::string_view path);

// Whether a text is digits, at least one, and nothing else.
bool isNumber(std::string_view text);

// Whether a name is that beginning with a number behind it, and nothing else: "sr0" for "sr".
bool isNumbered(std::string_view name, std::string_view beginning);

// Whether a component is host, channel, target and unit of a SCSI device: "0:0:1:0".
bool isScsiAddress(std::string_view component);

// Whether a block device of that name is none that holds data itself, though it may have a size: it
// lies on other devices, on files or in memory, or is a drive for media.
bool isNoDisk(std::string_view name);

// The directory of a block device in udev's run-time database is named by its number, "8:0"; this
// is what the record says of a key such as ID_FS_TYPE: the first entry, empty when there is none.
std::string udevProperty(const std::string& record, std::string_view key);

// That record; empty when there is none.
std::string readUdevRecord(const std::string& number);

}  // namespace invscan
