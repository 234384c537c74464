#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <invscan/smbiosinfo.h>

#include "invscan/SMBIOS/MachineType.h"
#include "invscan/SMBIOS/table/TableBytes.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

using namespace invscan;

namespace {

constexpr int kStep = 16;
constexpr int kDmiLength = 15;
constexpr int kHeaderLength = 4;

// Takes the version of every "_SM_" on the way to the first valid "_DMI_", of which it returns the
// offset; -1 when there is none.
long findDmiAnchor(const TableView& segment, smbios_scan_state& state) {
  for (long at = 0; segment.covers(at); at += kStep) {
    if (hasAnchor(segment, at, "_SM_") && sumsToZero(segment, at, segment.byte(at + 5))) {
      state.majorVersion = segment.byte(at + 6);
      state.minorVersion = segment.byte(at + 7);
    } else if (hasAnchor(segment, at, "_DMI_") && sumsToZero(segment, at, kDmiLength)) {
      return at;
    }
  }
  return -1;
}

bool readState(smbios_scan_state& state) {
  const auto bytes = machine().readMemory(kBiosSegment, kBiosSegmentLength);
  if (!bytes) return false;
  const TableView segment = viewOf(*bytes);
  const long dmi = findDmiAnchor(segment, state);
  if (dmi < 0) return false;
  state.tableLength = segment.word(dmi + 6);
  state.tableAddress = segment.dword(dmi + 8);
  state.numberOfStructures = segment.word(dmi + 12);
  state.bcdMajorVersion = segment.byte(dmi + 14) >> 4;
  state.bcdMinorVersion = segment.byte(dmi + 14) & 0xF;

  const auto table = machine().readMemory(state.tableAddress, state.tableLength);
  if (!table || table->empty()) return false;
  state.table = static_cast<unsigned char*>(malloc(table->size()));
  if (!state.table) return false;
  memcpy(state.table, table->data(), table->size());
  return true;
}

struct SystemTexts {
  std::string manufacturer, product, version, serial;
};

int takeSystem(const unsigned char* structure, const char* stringSet, void* context) {
  const TableView fields(structure, structure[1]);
  if (fields.byte(0) != kSystemInformation) return 0;
  const auto text = [&](long at) { return getString_SMBIOS(stringSet, fields.byte(at)); };
  *static_cast<SystemTexts*>(context) = {text(4), text(5), text(6), text(7)};
  return 0;
}

void give(const std::string& text, char** output) {
  if (output) *output = strdup(text.c_str());
}

}  // namespace

int find_SMBIOS(smbios_scan_state* state) {
  if (!state) return -1;
  *state = {};
  if (readState(*state)) return 0;
  *state = {};
  return -1;
}

int scan_SMBIOS(const smbios_scan_state* state, smbios_scan_callback callback, void* context) {
  if (!state || !state->table || !callback) return -1;
  const TableView table(state->table, state->tableLength);
  long at = 0;
  for (int i = 0; i < state->numberOfStructures && table.covers(at, kHeaderLength); ++i) {
    const long strings = at + table.byte(at + 1);
    const long next = behindDoubleNul(table, strings);
    if (next < 0) break;
    const unsigned char* structure = state->table + at;
    if (callback(structure, reinterpret_cast<const char*>(state->table + strings), context) != 0) {
      break;
    }
    at = next;
  }
  return 0;
}

const char* getString_SMBIOS(const char* stringSet, int n) {
  if (!stringSet || n < 1) return "";
  for (; n > 1 && *stringSet; --n) stringSet += strlen(stringSet) + 1;
  return stringSet;
}

unsigned short getInt16_SMBIOS(const void* p) {
  return TableView(static_cast<const unsigned char*>(p), 2).word(0);
}

unsigned int getInt32_SMBIOS(const void* p) {
  return TableView(static_cast<const unsigned char*>(p), 4).dword(0);
}

int SMBIOS_GetSystemInfo(char** manufacturer, char** product, char** type, char** version,
                         char** serial) {
  const Trace trace(getCcLogHw(), "SMBIOS_GetSystemInfo()");
  smbios_scan_state state;
  if (find_SMBIOS(&state) != 0) return -1;
  const std::unique_ptr<unsigned char, decltype(&free)> table(state.table, &free);
  SystemTexts texts;
  scan_SMBIOS(&state, takeSystem, &texts);
  give(texts.manufacturer, manufacturer);
  give(texts.product, product);
  give(machineTypeOf(texts.manufacturer, texts.product).value_or(texts.version), type);
  give(texts.version, version);
  give(texts.serial, serial);
  return 0;
}
