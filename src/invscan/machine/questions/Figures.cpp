#include "invscan/machine/questions/Figures.h"

#include <unistd.h>

#include <ctime>

#include <nlohmann/json.hpp>

namespace invscan {

unsigned long PageSizeQuestion::live(NoKey) {
  const long size = sysconf(_SC_PAGESIZE);
  return size > 0 ? static_cast<unsigned long>(size) : 0;
}

void PageSizeQuestion::write(Json& json, unsigned long bytes) {
  json = bytes;
}

unsigned long PageSizeQuestion::read(const CaptureValue& value) {
  return value.number();
}

std::optional<unsigned long> WordSizeQuestion::live(NoKey) {
  const long bits = sysconf(_SC_LONG_BIT);
  if (bits <= 0) return std::nullopt;
  return static_cast<unsigned long>(bits);
}

void WordSizeQuestion::write(Json& json, std::optional<unsigned long> bits) {
  if (bits) json = *bits;
}

std::optional<unsigned long> WordSizeQuestion::read(const CaptureValue& value) {
  return value.number();
}

long ClockQuestion::live(NoKey) {
  return time(nullptr);
}

void ClockQuestion::write(Json& json, long seconds) {
  json = seconds;
}

long ClockQuestion::read(const CaptureValue& value) {
  return value.seconds();
}

}  // namespace invscan
