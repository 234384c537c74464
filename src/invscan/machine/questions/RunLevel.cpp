#include "invscan/machine/questions/RunLevel.h"

#include <utmp.h>

#include <cstring>

#include <nlohmann/json.hpp>

namespace invscan {

RunLevelQuestion::Answer RunLevelQuestion::live(NoKey) {
  utmp wanted{};
  wanted.ut_type = RUN_LVL;
  setutent();
  Answer record;
  if (const utmp* found = getutid(&wanted)) {
    const std::size_t length = strnlen(found->ut_line, sizeof found->ut_line);
    // The low byte of the "process id" is the run level, the next one the level before.
    record = {std::string(found->ut_line, length), found->ut_tv.tv_sec,
              static_cast<char>(found->ut_pid & 0xFF)};
  }
  endutent();
  return record;
}

void RunLevelQuestion::write(Json& json, const Answer& record) {
  if (!record) return;
  json = {{"line", isCaptureText(record->line) ? record->line : ""}, {"time", record->time}};
  if (record->level && isCaptureText({&*record->level, 1})) {
    json["level"] = std::string(1, *record->level);
  }
}

RunLevelQuestion::Answer RunLevelQuestion::read(const CaptureValue& value) {
  value.checkNames({"line", "time", "level"});
  RunLevelRecord record{value["line"].text(), value["time"].seconds(), std::nullopt};
  if (const auto level = value.find("level")) {
    const std::string text = level->text();
    if (text.size() != 1) level->refuse("one character");
    record.level = text.front();
  }
  return record;
}

}  // namespace invscan
