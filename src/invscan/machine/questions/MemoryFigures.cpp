#include "invscan/machine/questions/MemoryFigures.h"

#include <sys/sysinfo.h>

#include <nlohmann/json.hpp>

namespace invscan {

MemoryFiguresQuestion::Answer MemoryFiguresQuestion::live(NoKey) {
  struct sysinfo figures;
  if (sysinfo(&figures) != 0) return std::nullopt;
  return MemoryFigures{figures.totalram, figures.freeram, figures.totalswap, figures.freeswap};
}

void MemoryFiguresQuestion::write(Json& json, const Answer& figures) {
  if (!figures) return;
  json = {{"totalram", figures->totalRam},
          {"freeram", figures->freeRam},
          {"totalswap", figures->totalSwap},
          {"freeswap", figures->freeSwap}};
}

MemoryFiguresQuestion::Answer MemoryFiguresQuestion::read(const CaptureValue& value) {
  value.checkNames({"totalram", "freeram", "totalswap", "freeswap", "mem_unit", "uptime"});
  for (const char* unused : {"mem_unit", "uptime"}) {
    if (const auto figure = value.find(unused)) figure->number();
  }
  return MemoryFigures{value["totalram"].number(), value["freeram"].number(),
                       value["totalswap"].number(), value["freeswap"].number()};
}

}  // namespace invscan
