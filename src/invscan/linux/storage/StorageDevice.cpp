#include "invscan/linux/storage/StorageDevice.h"

#include "common/md5/Digest.h"
#include "invscan/com/model/RowBuilder.h"

namespace invscan {

void StorageDevice::setGeometry(unsigned long headCount, unsigned long sectorCount) {
  heads = headCount;
  sectors = sectorCount;
  cylinders = kilobytes * 2 / (heads * sectors);
}

void addRow(KelTable& table, unsigned long index, const StorageDevice& device) {
  const std::string form = std::to_string(device.cylinders) + std::to_string(device.sectors) +
                           std::to_string(device.heads) + std::to_string(device.kilobytes);
  RowBuilder()
      .count(1, index)
      .text(2, digestOf(form))
      .count(3, device.type)
      .text(4, device.model)
      .text(5, device.manufacturer)
      .text(6, device.serial)
      .count(7, device.cylinders)
      .count(8, device.sectors)
      .count(9, device.heads)
      .count(10, device.kilobytes >> 10)
      .count(11, device.security)
      .text(12, device.name)
      .text(13, device.isSan)
      .text(14, device.nodeName)
      .text(15, device.portName)
      .text(16, device.adapter)
      .addTo(table);
}

}  // namespace invscan
