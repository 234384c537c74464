// The catalogue as a whole: hosts walk its tables themselves and trust what this checks.
#include <set>
#include <span>

#include "Testing.h"

namespace {

struct Table {
  std::string name;
  const kelAttribDef* rows;
  std::span<const unsigned long> keys{};
};

// The tables that no group uses; those of groups are in docs/catalogue.md as well.
const kelAttribDef* const kTablesWithoutGroup[] = {
    AIX_CLUSTER_ATTRS_DEF,    AIX_CLUSTER_NODE_ATTRS_DEF,
    CPU_WIN_METER_ATTRS_DEF,  DSK_PART_ATTRS_DEF,
    ENCLOSURE_ATTRS_DEF,      INSTALLED_PATCH_ATTRS_DEF,
    INSTALLED_PKGS_ATTRS_DEF, IPX_ADDR_ATTRS_DEF,
    KEYBOARD_ATTRS_DEF,       LAST_USER_ATTRS_DEF,
    LDOMS_ATTRS_DEF,          LOG_DRIVE_ATTRS_DEF,
    MODEM_ATTRS_DEF,          MONITOR_ATTRS_DEF,
    OPER_SYS_CSIDL_ATTRS_DEF, PARALLEL_PORT_ATTRS_DEF,
    PC_PAR_ATTRS_DEF,         POINT_DEV_ATTRS_DEF,
    PRINTER_ATTRS_DEF,        SCREEN_SAVER_INFO_ATTRS_DEF,
    SERIAL_PORT_ATTRS_DEF,    SERVICE_INFO_ATTRS_DEF,
    USB_DEVICE_ATTRS_DEF,     USER_ACCOUNT_INFO_ATTRS_DEF,
    VIDEO_ATTRS_DEF,          VIRTUAL_MACHINE_ATTRS_DEF,
    WIN_CLUSTER_ATTRS_DEF,    WIN_CLUSTER_NODE_ATTRS_DEF,
};

// Up to the end mark.
template <class Row>
std::span<const Row> rowsOf(const Row* table, unsigned long Row::*id = &Row::id) {
  std::size_t count = 0;
  while (table[count].*id != kEndOfTable) ++count;
  return {table, count};
}

std::vector<Table> allTables() {
  std::vector<Table> tables;
  for (const kelGroupDef& group : rowsOf(GROUPS_DEF)) {
    tables.push_back({group.name, group.attribs, {group.keys, group.keyCount}});
  }
  for (const kelAttribDef* rows : kTablesWithoutGroup) {
    tables.push_back({"table that begins with " + std::string(rows[0].name), rows});
  }
  return tables;
}

bool isTrimmedText(const char* text) {
  return text && *text && *text != ' ' && text[std::strlen(text) - 1] != ' ';
}

void expectWellFormed(const kelEnumDef* table) {
  const auto rows = rowsOf(table, &kelEnumDef::value);
  std::set<unsigned long> values;
  std::set<std::string> texts;
  for (const kelEnumDef& row : rows) {
    EXPECT_TRUE(isTrimmedText(row.text)) << row.value;
    EXPECT_TRUE(values.insert(row.value).second) << row.value << " used twice";
    EXPECT_TRUE(texts.insert(row.text).second) << row.text << " used twice";
  }
  EXPECT_EQ(table[rows.size()].text, nullptr);
}

TEST(Catalogue, EveryTableIsWellFormed) {
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
      if (row.enums) expectWellFormed(row.enums);
    }
    EXPECT_TRUE(ids.size() == rows.size() && *ids.begin() == 1 && *ids.rbegin() == rows.size())
        << "ids are not a permutation of 1 to " << rows.size();
    for (unsigned long key : table.keys) EXPECT_TRUE(ids.contains(key)) << "no attribute " << key;
    const kelAttribDef& end = table.rows[rows.size()];
    EXPECT_TRUE(!end.name && !end.type && !end.maxLength && !end.enums);
  }
}

TEST(Catalogue, LookupsFindRowsOrSayThatThereIsNone) {
  EXPECT_STREQ(getGroupNameFromId(45), "HostComponentID");
  for (unsigned long id : {9999ul, kEndOfTable}) EXPECT_STREQ(getGroupNameFromId(id), "Unknown");
  EXPECT_EQ(getGroupIdFromName("Memory Modules"), 31u);
  for (const char* name : {"memory", "Memory ", "Mem", ""}) EXPECT_EQ(getGroupIdFromName(name), 0u);
  EXPECT_EQ(getGroupIdFromName(std::wstring(L"Memory\0x", 8)), 0u);
  for (unsigned long id : {0ul, kEndOfTable}) EXPECT_EQ(getGroupDefinitionFromId(id), nullptr);
  EXPECT_EQ(getDebugMaskFromName(nullptr), 0u);

  const kelGroupDef* system = getGroupDefinitionFromId(4);
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
  for (const kelGroupDef& group : rowsOf(GROUPS_DEF)) {
    const std::span<const kelAttribDef> attributes = rowsOf(group.attribs);
    const invscan::AttributeTraits* traits = invscan::attributeTraits(group.id, attributes[0].id);
    std::set<std::string> descriptions;
    for (const kelAttribDef& attribute : attributes) {
      SCOPED_TRACE(std::string(group.name) + " " + attribute.name);
      ASSERT_EQ(invscan::attributeTraits(group.id, attribute.id), traits);
      EXPECT_TRUE(isTrimmedText(traits->description));
      EXPECT_TRUE(descriptions.insert(traits->description).second) << "described like another one";
      EXPECT_TRUE(traits->sensitive || !namesSomethingSensitive(attribute));
      EXPECT_TRUE(!*traits->sources || isTrimmedText(traits->sources));
      ++traits;
    }
    EXPECT_EQ(traits->id, 0u) << group.name;
    EXPECT_EQ(invscan::attributeTraits(group.id, attributes.size() + 1), nullptr);
  }
  EXPECT_EQ(invscan::attributeTraits(9999, 1), nullptr);
}

}  // namespace
