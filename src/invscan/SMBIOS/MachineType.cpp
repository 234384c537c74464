#include "invscan/SMBIOS/MachineType.h"

#include <string_view>

#include <invscan/smbiosinfo.h>

#include "log/Trace.h"

namespace {

constexpr std::string_view kManufacturer = "Korva";
constexpr std::size_t kTypeLength = 4;
constexpr std::size_t kTypeAndModelLength = 7;

char* writeType(std::string_view text, char* type) {
  type[text.copy(type, kTypeLength)] = '\0';
  return type;
}

}  // namespace

char* getTypeFromProd(const char* product, char* type) {
  if (!product || !type) return type;
  const std::string_view text = product;
  const std::size_t bracket = text.find('[');
  if (bracket == text.npos) {
    return text.size() == kTypeAndModelLength ? writeType(text, type) : type;
  }
  const std::string_view behind = text.substr(bracket + 1);
  return writeType(behind.size() < kTypeLength ? "" : behind, type);
}

bool getTypeFromProd_Rackline(const char* manufacturer, const char* product, std::string& prefix,
                              std::string& type, std::string& model) {
  if (!manufacturer || !product) return false;
  if (!std::string_view(manufacturer).starts_with(kManufacturer)) return false;
  const std::string_view text = product;
  const std::size_t open = text.find("-[");
  if (open == text.npos) return false;
  const std::string_view behind = text.substr(open + 2);
  if (behind.find("]-") != kTypeAndModelLength) return false;
  prefix = text.substr(0, open);
  type = behind.substr(0, kTypeLength);
  model = behind.substr(kTypeLength, kTypeAndModelLength - kTypeLength);
  return true;
}

int getTypeFromProd_Rackline(const char* manufacturer, const char* product, char* type) {
  std::string prefix, found, model;
  if (!type || !getTypeFromProd_Rackline(manufacturer, product, prefix, found, model)) return 0;
  writeType(found, type);
  return 1;
}

std::optional<std::string> invscan::machineTypeOf(const std::string& manufacturer,
                                                  const std::string& product) {
  const Trace trace(getCcLogHw(), "machineTypeOf()");
  char type[kTypeLength + 1] = "";
  if (getTypeFromProd_Rackline(manufacturer.c_str(), product.c_str(), type) != 0) {
    trace.at().max("Type for Rackline=%s", type);
  } else if (manufacturer == kManufacturer) {
    getTypeFromProd(product.c_str(), type);
    trace.at().max("hardware Korva Type = %s", type);
  } else {
    return std::nullopt;
  }
  return type;
}
