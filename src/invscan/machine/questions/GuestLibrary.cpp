#include "invscan/machine/questions/GuestLibrary.h"

#include <nlohmann/json.hpp>

namespace invscan {
namespace {

constexpr struct {
  const char* name;
  std::uint32_t VMwareGuestInfo::*figure;
} kFigures[] = {
    {"cpu_reservation_mhz", &VMwareGuestInfo::cpuReservationMHz},
    {"cpu_limit_mhz", &VMwareGuestInfo::cpuLimitMHz},
    {"cpu_shares", &VMwareGuestInfo::cpuShares},
    {"host_processor_speed_mhz", &VMwareGuestInfo::hostProcessorSpeedMHz},
};

}  // namespace

void GuestLibraryQuestion::write(Json& json, const Answer& info) {
  if (!info) return;
  for (const auto& [name, figure] : kFigures) json[name] = (*info).*figure;
}

GuestLibraryQuestion::Answer GuestLibraryQuestion::read(const CaptureValue& value) {
  VMwareGuestInfo info;
  value.checkNames({kFigures[0].name, kFigures[1].name, kFigures[2].name, kFigures[3].name});
  for (const auto& [name, figure] : kFigures) {
    info.*figure = static_cast<std::uint32_t>(value[name].number(UINT32_MAX));
  }
  return info;
}

}  // namespace invscan
