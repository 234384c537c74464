#include <clocale>
#include <cstdlib>
#include <memory>

#include <invscan/catalogue.h>
#include <invscan/groups.h>

#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

const kelEnumDef REGIONAL_TZ_PLUS_MINUS[] = {{1, "+"}, {2, "-"}, {kEndOfTable, nullptr}};

const kelEnumDef REGIONAL_TZ_DAYLIGHT[] = {{1, "T"}, {2, "F"}, {kEndOfTable, nullptr}};

const kelAttribDef REGIONAL_ATTRS_DEF[] = {
    {1, "Local", KEL_STRING, 32, nullptr},
    {2, "Time Zone Seconds", KEL_ULONG, 0, nullptr},
    {3, "Time Zone Plus Minus", KEL_ULONG, 0, REGIONAL_TZ_PLUS_MINUS},
    {4, "Daylight", KEL_ULONG, 0, REGIONAL_TZ_DAYLIGHT},
    {5, "Time Zone Name", KEL_STRING, 64, nullptr},
    {6, "Time Zone Daylight Name", KEL_STRING, 64, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

constexpr char kTimeZone[] = "time zone";

const AttributeTraits kRegionalTraits[] = {
    {1, "", Stable, kPublic, "Locale of characters, from the environment.", "locale LC_CTYPE",
     nullptr},
    {2, "seconds", Stable, kPublic, "Distance of standard time from UTC.", kTimeZone, nullptr},
    {3, "", Stable, kPublic, "Whether standard time is ahead of UTC (or equal) or behind it.",
     kTimeZone, nullptr},
    {4, "", Stable, kPublic, "Whether the time zone knows daylight-saving time.", kTimeZone,
     nullptr},
    {5, "", Stable, kPublic, "Abbreviation of standard time.", kTimeZone, nullptr},
    {6, "", Stable, kPublic, "Abbreviation of daylight-saving time.", kTimeZone, nullptr},
    kEndOfTraits,
};

}  // namespace invscan

using namespace invscan;

KelTable* RegionalGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  const TimeZone zone = machine().setTimeZone();
  const LocaleName characters = machine().setLocale(LC_CTYPE);
  if (!characters.known) trace.at().min("hardware setlocale returned NULL");
  const std::string locale = characters.known ? characters.name : std::string();
  trace.at().max("hardware LC_CTYPE locale=%s", locale.c_str());

  constexpr unsigned long kAhead = 1, kBehind = 2, kDaylight = 1, kNoDaylight = 2;
  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  RowBuilder()
      .text(1, locale)
      .count(2, static_cast<unsigned long>(labs(zone.secondsWest)))
      .count(3, zone.secondsWest > 0 ? kBehind : kAhead)
      .count(4, zone.hasDaylightSaving ? kDaylight : kNoDaylight)
      .text(5, zone.standardName)
      .text(6, zone.daylightName)
      .addTo(*table);
  return table.release();
}
