// The catalogue as a whole: hosts walk its tables themselves and trust what this checks.
#include <cstring>
#include <set>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <invscan/catalogue.h>
#include <invscan/traits.h>

namespace {

using Keys = std::span<const unsigned long>;

struct Group {
  unsigned long id;
  unsigned long attributes;
};

// In scan order.
const Group kGroups[] = {
    {1, 26}, {2, 45},  {3, 9},   {31, 6}, {4, 22},  {5, 16},  {6, 11},  {51, 11},
    {7, 15}, {15, 6},  {19, 4},  {20, 9}, {27, 12}, {24, 23}, {29, 3},  {34, 52},
    {50, 9}, {44, 14}, {45, 26}, {46, 5}, {47, 3},  {53, 3},  {54, 10},
};

struct Table {
  const char* name;
  const kelAttribDef* rows;
  Keys keys;
};

// The tables that no group uses, and the guest table, whose keys no group has.
const Table kTablesWithoutGroup[] = {
    {"AIX cluster", AIX_CLUSTER_ATTRS_DEF, {AIX_CLUSTER_KEYS_DEF, 1}},
    {"AIX cluster node", AIX_CLUSTER_NODE_ATTRS_DEF, {AIX_CLUSTER_NODE_KEYS_DEF, 1}},
    {"Windows CPU meter", CPU_WIN_METER_ATTRS_DEF, {}},
    {"disk partition", DSK_PART_ATTRS_DEF, {DISK_PARTITION_KEYS_DEF, 1}},
    {"enclosure", ENCLOSURE_ATTRS_DEF, {}},
    {"installed patch", INSTALLED_PATCH_ATTRS_DEF, {INSTALLED_PATCH_KEYS_DEF, 2}},
    {"installed packages", INSTALLED_PKGS_ATTRS_DEF, {}},
    {"IPX address", IPX_ADDR_ATTRS_DEF, {IPX_ADDR_KEYS_DEF, 1}},
    {"keyboard", KEYBOARD_ATTRS_DEF, {}},
    {"last user", LAST_USER_ATTRS_DEF, {}},
    {"logical domains", LDOMS_ATTRS_DEF, {LDOMS_KEYS_DEF, 1}},
    {"logical drive", LOG_DRIVE_ATTRS_DEF, {LOGICAL_DRIVE_KEYS_DEF, 1}},
    {"modem", MODEM_ATTRS_DEF, {MODEM_KEYS_DEF, 2}},
    {"monitor", MONITOR_ATTRS_DEF, {MONITOR_KEYS_DEF, 2}},
    {"special folders", OPER_SYS_CSIDL_ATTRS_DEF, {}},
    {"parallel port", PARALLEL_PORT_ATTRS_DEF, {}},
    {"PC system params", PC_PAR_ATTRS_DEF, {}},
    {"pointing device", POINT_DEV_ATTRS_DEF, {POINT_DEV_KEYS_DEF, 2}},
    {"printer", PRINTER_ATTRS_DEF, {PRINTER_KEYS_DEF, 2}},
    {"screen saver", SCREEN_SAVER_INFO_ATTRS_DEF, {SCREEN_SAVER_INFO_KEYS_DEF, 1}},
    {"serial port", SERIAL_PORT_ATTRS_DEF, {}},
    {"service", SERVICE_INFO_ATTRS_DEF, {SERVICE_INFO_KEYS_DEF, 1}},
    {"USB device", USB_DEVICE_ATTRS_DEF, {USB_DEVICE_KEYS_DEF, 2}},
    {"user account", USER_ACCOUNT_INFO_ATTRS_DEF, {USER_ACCOUNT_INFO_KEYS_DEF, 2}},
    {"video", VIDEO_ATTRS_DEF, {VIDEO_KEYS_DEF, 2}},
    {"virtual machine", VIRTUAL_MACHINE_ATTRS_DEF, {VIRTUAL_MACHINE_KEYS_DEF, 1}},
    {"Windows cluster", WIN_CLUSTER_ATTRS_DEF, {WIN_CLUSTER_KEYS_DEF, 1}},
    {"Windows cluster node", WIN_CLUSTER_NODE_ATTRS_DEF, {WIN_CLUSTER_NODE_KEYS_DEF, 1}},
    {"guest", VIRTUAL_MACHINE_GUEST_ATTRS_DEF, {VIRTUAL_MACHINE_GUEST_KEYS_DEF, 1}},
};

struct Enumeration {
  const char* name;
  const kelEnumDef* rows;
  std::size_t count;  // without the end row
};

const Enumeration kEnumerations[] = {
    {"OS type", OS_TYPE_ENUM_DEF, 76},
    {"time zone sign", REGIONAL_TZ_PLUS_MINUS, 2},
    {"daylight", REGIONAL_TZ_DAYLIGHT, 2},
    {"processor family", PROCESSOR_FAMILY_ENUM_DEF, 126},
    {"processor interface", PROCESSOR_INTERFACE_ENUM_DEF, 18},
    {"storage type", STORAGE_TYPE_ENUM_DEF, 69},
    {"storage security", STORAGE_SECURITY_ENABLED_ENUM_DEF, 4},
    {"partition type", PART_TYPE_ENUM_DEF, 4},
    {"partition media type", PART_MEDIA_TYPE_ENUM_DEF, 7},
    {"file system type", FILE_SYSTEM_TYPE_ENUM_DEF, 105},
    {"adapter type", ADAPTER_TYPE_ENUM_DEF, 18},
    {"power-on password", HWSEC_POP_ENUM_DEF, 4},
    {"enclosure type", KEL_ATTRIB_SMBIOS_ENCLOSURE_TYPE_ENUM_DEF, 25},
    {"monitor status", MONITOR_STATUS_ENUMS_DEF, 3},
    {"modem type", MODEM_DEVTYPE_ENUMS_DEF, 4},
    {"USB class", USB_DEVICE_CLASS_ENUM_DEF, 11},
    {"USB hub", USB_DEVICE_IS_HUB_ENUM_DEF, 2},
    {"pointing device type", POINTING_DEVICE_TYPE_ENUM_DEF, 9},
};

std::vector<Table> allTables() {
  std::vector<Table> tables(std::begin(kTablesWithoutGroup), std::end(kTablesWithoutGroup));
  for (const kelGroupDef* group = GROUPS_DEF; group->id != kEndOfTable; ++group) {
    tables.push_back({group->name, group->attribs, {group->keys, group->keyCount}});
  }
  return tables;
}

std::span<const kelAttribDef> rowsOf(const kelAttribDef* table) {
  std::size_t count = 0;
  while (table[count].id != kEndOfTable) ++count;
  return {table, count};
}

std::span<const kelEnumDef> rowsOf(const kelEnumDef* table) {
  std::size_t count = 0;
  while (table[count].value != kEndOfTable) ++count;
  return {table, count};
}

const char* textOf(const kelEnumDef* table, unsigned long value) {
  for (const kelEnumDef& row : rowsOf(table)) {
    if (row.value == value) return row.text;
  }
  return "";
}

bool isTrimmedText(const char* text) {
  return text && *text && *text != ' ' && text[std::strlen(text) - 1] != ' ';
}

TEST(Catalogue, GroupsAreInScanOrderWithTheirAttributes) {
  const kelGroupDef* group = GROUPS_DEF;
  for (const Group& expected : kGroups) {
    EXPECT_EQ(group->id, expected.id);
    EXPECT_EQ(rowsOf(group->attribs).size(), expected.attributes) << group->name;
    EXPECT_EQ(group->keys == nullptr, group->keyCount == 0) << group->name;
    EXPECT_EQ(group->version, 1u) << group->name;
    EXPECT_EQ(group->attribs[0].enums, nullptr) << group->name;
    ++group;
  }
  EXPECT_EQ(group->id, 0xFFFFFFFFul);
  EXPECT_EQ(group->name, nullptr);
}

TEST(Catalogue, EveryAttributeTableIsWellFormed) {
  for (const Table& table : allTables()) {
    SCOPED_TRACE(table.name);
    const std::span<const kelAttribDef> rows = rowsOf(table.rows);
    std::set<unsigned long> ids;
    std::set<std::string> names;
    for (const kelAttribDef& row : rows) {
      SCOPED_TRACE(row.name);
      ids.insert(row.id);
      EXPECT_TRUE(isTrimmedText(row.name));
      EXPECT_TRUE(names.insert(row.name).second) << "name used twice";
      EXPECT_TRUE(row.type >= KEL_UCHAR && row.type <= KEL_LONGLONG);
      EXPECT_EQ(row.maxLength > 0, row.type == KEL_STRING);
      EXPECT_TRUE(!row.enums || row.type == KEL_ULONG);
    }
    EXPECT_TRUE(ids.size() == rows.size() && *ids.begin() == 1 && *ids.rbegin() == rows.size())
        << "ids are not a permutation of 1 to " << rows.size();
    for (unsigned long key : table.keys) EXPECT_TRUE(ids.contains(key)) << "no attribute " << key;
    const kelAttribDef& end = table.rows[rows.size()];
    EXPECT_TRUE(!end.name && !end.type && !end.maxLength && !end.enums);
  }
}

TEST(Catalogue, EveryEnumerationIsWellFormed) {
  for (const Enumeration& enumeration : kEnumerations) {
    SCOPED_TRACE(enumeration.name);
    const std::span<const kelEnumDef> rows = rowsOf(enumeration.rows);
    EXPECT_EQ(rows.size(), enumeration.count);
    std::set<unsigned long> values;
    std::set<std::string> texts;
    for (const kelEnumDef& row : rows) {
      EXPECT_TRUE(isTrimmedText(row.text)) << row.value;
      EXPECT_TRUE(values.insert(row.value).second) << row.value << " used twice";
      EXPECT_TRUE(texts.insert(row.text).second) << row.text << " used twice";
    }
    EXPECT_EQ(enumeration.rows[rows.size()].text, nullptr);
  }
}

TEST(Catalogue, EnumeratedValuesMeanWhatHostsExpect) {
  const struct {
    const kelEnumDef* table;
    unsigned long value;
    const char* text;
  } samples[] = {
      {OS_TYPE_ENUM_DEF, 1, "Unknown"},
      {OS_TYPE_ENUM_DEF, 37, "LINUX"},
      {OS_TYPE_ENUM_DEF, 82, "Windows 2016"},
      {STORAGE_TYPE_ENUM_DEF, 1, "Unknown"},
      {STORAGE_TYPE_ENUM_DEF, 3, "Tape Cartridge"},
      {STORAGE_TYPE_ENUM_DEF, 17, "CD-ROM"},
      {STORAGE_TYPE_ENUM_DEF, 22, "Magneto-Optical"},
      {STORAGE_TYPE_ENUM_DEF, 30, "Hard Disk"},
      {PROCESSOR_FAMILY_ENUM_DEF, 0xB3, "Xeon"},
      {PROCESSOR_FAMILY_ENUM_DEF, 0xC6, "Core i7"},
      {PROCESSOR_INTERFACE_ENUM_DEF, 17, "Socket 940"},
      {ADAPTER_TYPE_ENUM_DEF, 3, "Ethernet Adapter"},
      {ADAPTER_TYPE_ENUM_DEF, 8, "Channel to channel interface"},
      {ADAPTER_TYPE_ENUM_DEF, 10, "PPP Adapter"},
      {FILE_SYSTEM_TYPE_ENUM_DEF, 65535, "UNKNOWN"},
      {KEL_ATTRIB_SMBIOS_ENCLOSURE_TYPE_ENUM_DEF, 23, "Rack Mount Chassis"},
      {HWSEC_POP_ENUM_DEF, 2, "Unsupported"},
      {STORAGE_SECURITY_ENABLED_ENUM_DEF, 0, "Yes"},
      {REGIONAL_TZ_PLUS_MINUS, 2, "-"},
  };
  for (const auto& sample : samples) EXPECT_STREQ(textOf(sample.table, sample.value), sample.text);

  // What mount types map to.
  for (unsigned long code : {7,   11,  14,  66,  99,  130, 131, 258, 260, 261, 262,
                             264, 267, 280, 281, 282, 285, 286, 287, 289, 290}) {
    EXPECT_STRNE(textOf(FILE_SYSTEM_TYPE_ENUM_DEF, code), "") << code;
  }
}

TEST(Catalogue, LookupsFindRowsOrSayThatThereIsNone) {
  EXPECT_STREQ(getGroupNameFromId(45), "HostComponentID");
  EXPECT_STREQ(getGroupNameFromId(9999), "Unknown");
  EXPECT_STREQ(getGroupNameFromId(kEndOfTable), "Unknown");
  EXPECT_EQ(getGroupIdFromName("Memory"), 3u);
  EXPECT_EQ(getGroupIdFromName("Memory Modules"), 31u);
  for (const char* name : {"memory", "Memory ", "Mem", ""}) EXPECT_EQ(getGroupIdFromName(name), 0u);
  EXPECT_EQ(getGroupIdFromName(std::wstring(L"Memory\0x", 8)), 0u);
  EXPECT_EQ(getGroupDefinitionFromId(0), nullptr);
  EXPECT_EQ(getGroupDefinitionFromId(kEndOfTable), nullptr);
  EXPECT_EQ(getGroupDefinitionFromId(1)->attribs, getGroupDefinitionFromId(45)->attribs);
  for (const char* name : {"Processor", "nothing"}) EXPECT_EQ(getDebugMaskFromName(name), 0u);
  EXPECT_EQ(getDebugMaskFromName(nullptr), 0u);

  const kelGroupDef* system = getGroupDefinitionFromId(4);
  EXPECT_STREQ(getAttribNameFromId(system, 2), "Type");
  EXPECT_EQ(getAttribDefinitionFromId(system, 2), &OPER_SYS_ATTRS_DEF[1]);
  const kelGroupDef withoutAttributes = {99, "none", nullptr, nullptr, 0, 1, 0};
  for (const kelGroupDef* group : {system, &withoutAttributes, (const kelGroupDef*)nullptr}) {
    for (unsigned long id : {23ul, kEndOfTable}) {
      EXPECT_EQ(getAttribNameFromId(group, id), nullptr);
      EXPECT_EQ(getAttribDefinitionFromId(group, id), nullptr);
      EXPECT_EQ(getEnumAsciiValue(group, id, 1), nullptr);
    }
  }
}

TEST(Catalogue, EnumeratedValuesAreLookedUpInTheFirstAttribute) {
  EXPECT_EQ(getEnumAsciiValue(getGroupDefinitionFromId(4), 2, 10), nullptr);

  const kelEnumDef first[] = {{1, "one"}, {2, "two"}, {kEndOfTable, nullptr}};
  const kelEnumDef second[] = {{3, "three"}, {kEndOfTable, nullptr}};
  const kelAttribDef attributes[] = {{7, "first", KEL_ULONG, 0, first},
                                     {8, "second", KEL_ULONG, 0, second},
                                     {9, "plain", KEL_ULONG, 0, nullptr},
                                     {kEndOfTable, nullptr, 0, 0, nullptr}};
  const kelGroupDef group = {99, "made up", attributes, nullptr, 0, 1, 0};
  EXPECT_STREQ(getEnumAsciiValue(&group, 7, 2), "two");
  EXPECT_STREQ(getEnumAsciiValue(&group, 8, 1), "one");
  EXPECT_STREQ(getEnumAsciiValue(&group, 9, 1), "one");
  EXPECT_EQ(getEnumAsciiValue(&group, 8, 3), nullptr);
  EXPECT_EQ(getEnumAsciiValue(&group, 10, 1), nullptr);
  EXPECT_EQ(getEnumAsciiValue(&group, 7, kEndOfTable), nullptr);
}

// What must not leave a customer's site unredacted shows in the attribute's name.
bool namesSomethingSensitive(const kelAttribDef& attribute) {
  const std::string name = attribute.name;
  for (const char* word : {"Serial", "UUID", "Address", "Hostname", "Domain", "WWNN", "WWPN"}) {
    if (name.find(word) != std::string::npos) return attribute.maxLength > 1;
  }
  return false;
}

TEST(Traits, DescribeEveryAttributeInTheOrderOfItsTable) {
  for (const Group& group : kGroups) {
    const kelAttribDef* attributes = getGroupDefinitionFromId(group.id)->attribs;
    const invscan::AttributeTraits* first = invscan::attributeTraits(group.id, attributes[0].id);
    std::set<std::string> descriptions;
    for (const kelAttribDef& attribute : rowsOf(attributes)) {
      SCOPED_TRACE(std::string(getGroupNameFromId(group.id)) + " " + attribute.name);
      const invscan::AttributeTraits* traits = invscan::attributeTraits(group.id, attribute.id);
      ASSERT_NE(traits, nullptr);
      EXPECT_EQ(traits - first, &attribute - attributes);
      EXPECT_TRUE(isTrimmedText(traits->description) &&
                  std::string(traits->description).back() == '.');
      EXPECT_TRUE(descriptions.insert(traits->description).second) << "described like another one";
      EXPECT_TRUE(traits->sensitive || !namesSomethingSensitive(attribute));
      EXPECT_TRUE(!*traits->sources || isTrimmedText(traits->sources));
    }
    EXPECT_EQ(first[group.attributes].id, 0u) << getGroupNameFromId(group.id);
  }
  EXPECT_EQ(invscan::attributeTraits(4, 0), nullptr);
  EXPECT_EQ(invscan::attributeTraits(4, 23), nullptr);
  EXPECT_EQ(invscan::attributeTraits(9999, 1), nullptr);
}

}  // namespace
