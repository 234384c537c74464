#include "invscan/machine/questions/FileSystemStatistics.h"

#include <nlohmann/json.hpp>

#include "base/Descriptor.h"

namespace invscan {

FileSystemQuestion::Answer FileSystemQuestion::live(const Key& asked) {
  // The two calls are one on this platform.
  struct statvfs statistics;
  if (uninterrupted([&] { return statvfs(asked.path.c_str(), &statistics); }) != 0) {
    return std::nullopt;
  }
  return statistics;
}

void FileSystemQuestion::write(Json& json, const Answer& statistics) {
  json = {{"result", statistics ? 0 : -1}};
  if (!statistics) return;
  json["f_frsize"] = statistics->f_frsize;
  json["f_blocks"] = statistics->f_blocks;
  json["f_bavail"] = statistics->f_bavail;
}

FileSystemQuestion::Answer FileSystemQuestion::read(const CaptureValue& value) {
  value.checkNames({"result", "f_frsize", "f_blocks", "f_bavail", "hang"});
  const auto figure = [&value](const char* name) {
    const auto found = value.find(name);
    return found ? found->number() : 0;
  };
  struct statvfs statistics {};
  statistics.f_frsize = figure("f_frsize");
  statistics.f_blocks = figure("f_blocks");
  statistics.f_bavail = figure("f_bavail");
  const auto result = value.find("result");
  if (result && result->integer(-1, 0, "0 or -1") != 0) return std::nullopt;
  return statistics;
}

}  // namespace invscan
