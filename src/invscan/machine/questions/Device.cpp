#include "invscan/machine/questions/Device.h"

#include <fcntl.h>
#include <linux/fd.h>
#include <linux/hdreg.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include <nlohmann/json.hpp>

#include "base/Descriptor.h"

namespace invscan {
namespace {

constexpr const char* kProtocols[] = {"scsi", "ata", "floppy"};

constexpr std::size_t kIdentity = 512;
constexpr unsigned kMilliseconds = 10'000;
constexpr int kAttempts = 3;

// By their first bytes: TEST UNIT READY, INQUIRY, READ CAPACITY (10) and (16).
constexpr std::string_view kHarmless[] = {{"\0", 1}, "\x12", "\x25", "\x9E\x10"};

bool isHarmless(std::string_view command) {
  return std::any_of(std::begin(kHarmless), std::end(kHarmless),
                     [=](std::string_view each) { return command.starts_with(each); });
}

// A device tells once that it was reset, in place of an answer.
bool hasUnitAttention(const unsigned char* sense, unsigned length) {
  constexpr unsigned kUnitAttention = 6;
  if (length < 3) return false;
  const unsigned code = sense[0] & 0x7F;
  const unsigned key = code >= 0x72 ? sense[1] : sense[2];
  return (key & 0xF) == kUnitAttention;
}

std::optional<std::string> askScsi(const Descriptor& device, const DeviceCommand& asked) {
  int version = 0;
  if (!isHarmless(asked.command) || ioctl(device.get(), SG_GET_VERSION_NUM, &version) != 0) {
    return std::nullopt;
  }
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    std::string command = asked.command, answer(asked.length, '\0');
    unsigned char sense[32] = {};
    sg_io_hdr_t request{};
    request.interface_id = 'S';
    request.dxfer_direction = answer.empty() ? SG_DXFER_NONE : SG_DXFER_FROM_DEV;
    request.cmd_len = static_cast<unsigned char>(command.size());
    request.cmdp = reinterpret_cast<unsigned char*>(command.data());
    request.dxfer_len = static_cast<unsigned>(answer.size());
    request.dxferp = answer.data();
    request.mx_sb_len = sizeof sense;
    request.sbp = sense;
    request.timeout = kMilliseconds;
    if (ioctl(device.get(), SG_IO, &request) != 0) return std::nullopt;
    if ((request.info & SG_INFO_OK_MASK) == SG_INFO_OK) {
      const int left = std::clamp(request.resid, 0, static_cast<int>(answer.size()));
      answer.resize(answer.size() - static_cast<std::size_t>(left));
      return answer;
    }
    if (!hasUnitAttention(sense, request.sb_len_wr)) return std::nullopt;
  }
  return std::nullopt;
}

std::optional<std::string> askAta(const Descriptor& device) {
  std::string answer(kIdentity, '\0');
  if (ioctl(device.get(), HDIO_GET_IDENTITY, answer.data()) != 0) return std::nullopt;
  return answer;
}

std::optional<std::string> askFloppy(const Descriptor& device) {
  floppy_drive_name name{};
  if (ioctl(device.get(), FDGETDRVTYP, name) != 0) return std::nullopt;
  return std::string(name, strnlen(name, sizeof name));
}

}  // namespace

std::string DeviceQuestion::keyName(const DeviceCommand& command) {
  return command.device + " " + kProtocols[static_cast<std::size_t>(command.protocol)] + " " +
         hexDigits(command.command);
}

DeviceQuestion::Answer DeviceQuestion::live(const DeviceCommand& command) {
  // Opened so, a drive does not wait for a medium.
  const Descriptor device = openExisting(command.device, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  struct stat status {};
  const bool isCharacters = command.protocol == DeviceProtocol::Scsi;
  if (!device || fstat(device.get(), &status) != 0) return std::nullopt;
  if (isCharacters ? !S_ISCHR(status.st_mode) : !S_ISBLK(status.st_mode)) return std::nullopt;
  switch (command.protocol) {
    case DeviceProtocol::Scsi:
      return askScsi(device, command);
    case DeviceProtocol::Ata:
      return askAta(device);
    default:
      return askFloppy(device);
  }
}

void DeviceQuestion::write(Json& json, const Answer& answer) {
  if (answer) json = hexDigits(*answer);
}

DeviceQuestion::Answer DeviceQuestion::read(const CaptureValue& value) {
  return value.bytes();
}

}  // namespace invscan
