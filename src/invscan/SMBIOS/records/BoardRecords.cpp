// What sits on the board or plugs into it: processors, connectors, slots, devices.
#include <invscan/smbios.h>

#include "invscan/SMBIOS/records/RecordDump.h"

using namespace invscan;

double SMBIOSTable4Data::getVoltageInVolts() const {
  const unsigned voltage = getVoltage();
  if ((voltage & 0x80) != 0) return (voltage & 0x7F) / 10.0;
  if ((voltage & 1) != 0) return 5.0;
  if ((voltage & 2) != 0) return 3.3;
  if ((voltage & 4) != 0) return 2.9;
  return 0.0;
}

void SMBIOSTable4Data::dump() const {
  SMBIOSTableData::dump();
  show("Socket", getSocket());
  show("Type", getType());
  showBits("Family", getFamily(), 2);
  show("Manufacturer", getManufacturer());
  showBits("EAX", getEAX(), 8);
  showBits("EDX", getEDX(), 8);
  show("Version", getVersion());
  std::printf("\n   %-28s: %.1f", "Voltage", getVoltageInVolts());
  show("External clock MHz", getExternalClock());
  show("Max speed MHz", getMaxSpeed());
  show("Current speed MHz", getCurrentSpeed());
  showBits("Status", getStatus(), 2);
  showBits("Upgrade", getUpgrade(), 2);
  show("Serial number", getSerialNumber());
  show("Asset tag", getAssetTag());
}

void SMBIOSTable8Data::dump() const {
  SMBIOSTableData::dump();
  show("Internal designator", getInternalDesignator());
  show("Internal connector type", getInternalConnectorType());
  show("External designator", getExternalDesignator());
  show("External connector type", getExternalConnectorType());
  show("Port type", getPortType());
}

void SMBIOSTable9Data::dump() const {
  SMBIOSTableData::dump();
  show("Slot designation", getSlotDesignation());
  show("Slot type", getSlotType());
  show("Data bus width", getSlotDataBusWidth());
  show("Current usage", getCurrentUsage());
  show("Length", getSlotLength());
  show("ID", getSlotID());
  showBits("Characteristics 1", getSlotCharacteristics1(), 2);
  showBits("Characteristics 2", getSlotCharacteristics2(), 2);
}

void SMBIOSTable10Data::dump() const {
  SMBIOSTableData::dump();
  showBits("Device type", getDeviceType(), 2);
  show("Description", getDescription());
}
