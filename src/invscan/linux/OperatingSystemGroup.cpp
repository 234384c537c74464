#include <cerrno>
#include <clocale>
#include <memory>
#include <utility>

#include <invscan/catalogue.h>
#include <invscan/groups.h>

#include "common/text/Lines.h"
#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

// Values 1 to 66 are DMTF's CIM_OperatingSystem.OSType plus one, with the texts of the first schema
// that has all of them; the rest are additions.
const kelEnumDef OS_TYPE_ENUM_DEF[] = {
    {1, "Unknown"},
    {2, "Other"},
    {3, "MACOS"},
    {4, "ATTUNIX"},
    {5, "DGUX"},
    {6, "DECNT"},
    {7, "Digital Unix"},
    {8, "OpenVMS"},
    {9, "HPUX"},
    {10, "AIX"},
    {11, "MVS"},
    {12, "OS400"},
    {13, "OS/2"},
    {14, "JavaVM"},
    {15, "MSDOS"},
    {16, "WIN3x"},
    {17, "WIN95"},
    {18, "WIN98"},
    {19, "WINNT"},
    {20, "WINCE"},
    {21, "NCR3000"},
    {22, "NetWare"},
    {23, "OSF"},
    {24, "DC/OS"},
    {25, "Reliant UNIX"},
    {26, "SCO UnixWare"},
    {27, "SCO OpenServer"},
    {28, "Sequent"},
    {29, "IRIX"},
    {30, "Solaris"},
    {31, "SunOS"},
    {32, "U6000"},
    {33, "ASERIES"},
    {34, "TandemNSK"},
    {35, "TandemNT"},
    {36, "BS2000"},
    {37, "LINUX"},
    {38, "Lynx"},
    {39, "XENIX"},
    {40, "VM/ESA"},
    {41, "Interactive UNIX"},
    {42, "BSDUNIX"},
    {43, "FreeBSD"},
    {44, "NetBSD"},
    {45, "GNU Hurd"},
    {46, "OS9"},
    {47, "MACH Kernel"},
    {48, "Inferno"},
    {49, "QNX"},
    {50, "EPOC"},
    {51, "IxWorks"},
    {52, "VxWorks"},
    {53, "MiNT"},
    {54, "BeOS"},
    {55, "HP MPE"},
    {56, "NextStep"},
    {57, "PalmPilot"},
    {58, "Rhapsody"},
    {59, "Windows 2000"},
    {60, "Dedicated"},
    {61, "OS/390"},
    {62, "VSE"},
    {63, "TPF"},
    {64, "Windows (R) Me"},
    {65, "Caldera Open UNIX"},
    {66, "OpenBSD"},
    {67, "Linux PPC"},
    {68, "Windows Vista"},
    {69, "Windows Longhorn"},
    {70, "Windows 2008"},
    {71, "Windows 2008 R2"},
    {72, "Windows 7"},
    {73, "Windows 8"},
    {80, "Windows 2012"},
    {81, "Windows 10"},
    {82, "Windows 2016"},
    {kEndOfTable, nullptr},
};

const kelAttribDef OPER_SYS_ATTRS_DEF[] = {
    {1, "Name", KEL_STRING, 128, nullptr},
    {2, "Type", KEL_ULONG, 0, OS_TYPE_ENUM_DEF},
    {3, "Major Version", KEL_ULONG, 0, nullptr},
    {4, "Minor Version", KEL_ULONG, 0, nullptr},
    {5, "Sub Version", KEL_STRING, 64, nullptr},
    {6, "Install Date", KEL_DATETIME, 0, nullptr},
    {7, "Registered Organization", KEL_STRING, 255, nullptr},
    {8, "Registered Owner", KEL_STRING, 255, nullptr},
    {9, "Product ID", KEL_STRING, 64, nullptr},
    {10, "OS Arch", KEL_STRING, 24, nullptr},
    {11, "OS Kernel Mode", KEL_STRING, 24, nullptr},
    {12, "Description String", KEL_STRING, 255, nullptr},
    {13, "OS Language Version", KEL_STRING, 64, nullptr},
    {14, "OS Locale ID", KEL_STRING, 64, nullptr},
    {15, "OS Messages Locale", KEL_STRING, 64, nullptr},
    {16, "Last Boot Up Time", KEL_DATETIME, 0, nullptr},
    {17, "Current User Locale ID", KEL_STRING, 64, nullptr},
    {18, "OS Name", KEL_STRING, 64, nullptr},
    {19, "OS Version", KEL_STRING, 64, nullptr},
    {20, "ServicePack Version Major", KEL_ULONG, 0, nullptr},
    {21, "ServicePack Version Minor", KEL_ULONG, 0, nullptr},
    {22, "Maintenance Level", KEL_ULONG, 0, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

constexpr char kReleaseFiles[] =
    "/etc/os-release; /etc/redhat-release; /etc/turbolinux-release; /etc/SuSE-release; "
    "/etc/UnitedLinux-release; /etc/.installed; /etc/.issue; /etc/lsb-release; "
    "/etc/debian_version";
constexpr char kWordSizeSources[] =
    "word size; getconf -v POSIX_V6_LP64_OFF64 LONG_BIT 2>&1; getconf LONG_BIT 2>/dev/null";

const AttributeTraits kOperatingSystemTraits[] = {
    {1, "", Stable, kPublic, "Name of the distribution, from the first release file there is.",
     kReleaseFiles, "Linux"},
    {2, "", Stable, kPublic, "Kind of operating system; always LINUX.", kConstant, nullptr},
    {3, "", Stable, kPublic, "First number of the kernel's release.", "uname", nullptr},
    {4, "", Stable, kPublic, "Second number of the kernel's release.", "uname", nullptr},
    {5, "", Stable, kPublic, "The kernel's release behind its second dot.", "uname", nullptr},
    {6, "", Identity, kPublic, "When the system was installed.", kNotFilled, nullptr},
    {7, "", Stable, kPublic, "Organization that the system is registered to.", kNotFilled, nullptr},
    {8, "", Stable, kSensitive, "Person that the system is registered to.", kNotFilled, nullptr},
    {9, "", Identity, kSensitive, "Product key of the system.", kNotFilled, nullptr},
    {10, "", Stable, kPublic, "Machine architecture as the kernel names it.", "uname", nullptr},
    {11, "", Stable, kPublic, "Bits of a machine word in programs: 32, 64 or 128.",
     kWordSizeSources, nullptr},
    {12, "", Stable, kPublic,
     "The distribution in more words, from the first release file there is.", kReleaseFiles,
     "Linux"},
    {13, "", Stable, kPublic, "Language version of the system.", kNotFilled, nullptr},
    {14, "", Stable, kPublic, "Locale number of the system.", kNotFilled, nullptr},
    {15, "", Stable, kPublic, "Locale of messages, from the environment.", "locale LC_MESSAGES",
     nullptr},
    {16, "", Volatile, kPublic, "When the system was last started.", kNotFilled, nullptr},
    {17, "", Stable, kPublic, "Locale number of the user.", kNotFilled, nullptr},
    {18, "", Stable, kPublic, "Name of the system's edition.", kNotFilled, nullptr},
    {19, "", Stable, kPublic, "Version of the system's edition.", kNotFilled, nullptr},
    {20, "", Stable, kPublic, "Major version of the service pack.", kNotFilled, nullptr},
    {21, "", Stable, kPublic, "Minor version of the service pack.", kNotFilled, nullptr},
    {22, "", Stable, kPublic, "Maintenance level of the system.", kNotFilled, nullptr},
    kEndOfTraits,
};

namespace {

constexpr unsigned long kTypeLinux = 37;
constexpr std::size_t kLineLimit = 255;
constexpr std::size_t kNameLimit = 254;
constexpr std::size_t kArchitectureLimit = 19;

struct KernelVersion {
  unsigned long major = 0, minor = 0;
  std::string sub;
};

struct Distribution {
  std::string name, description;
};

// "3.10.0-1160.el7.x86_64" is 3, 10 and "0-1160.el7.x86_64".
KernelVersion splitRelease(const std::string& release) {
  KernelVersion version;
  version.major = static_cast<unsigned long>(leadingInteger(release));
  const std::size_t firstDot = release.find('.');
  if (firstDot == std::string::npos) return version;
  version.minor = static_cast<unsigned long>(leadingInteger(release.substr(firstDot + 1)));
  const std::size_t secondDot = release.find('.', firstDot + 1);
  if (secondDot != std::string::npos) version.sub = release.substr(secondDot + 1);
  return version;
}

Distribution sameFor(std::string_view text) {
  const std::string name(cutText(text, kNameLimit));
  return {name, name};
}

// The last character goes, also when it is not the newline that it is taken for, and text before
// the key shifts what is taken: hosts identify systems by the names that came of both.
Distribution readOsRelease(std::string_view text) {
  constexpr std::string_view kKey = "PRETTY_NAME=";
  TextLines lines(text, kLineLimit);
  for (std::string_view line; lines.next(line);) {
    if (line.find(kKey) == std::string_view::npos) continue;
    std::string name(line.substr(kKey.size()));
    std::erase(name, '"');
    return sameFor(name.empty() ? name : cutText(name, name.size() - 1));
  }
  return {};
}

// Runs of control characters become one blank each, the newline at the end too.
Distribution readReleaseText(std::string_view text) {
  text = cutText(text.substr(0, text.find('\0')), kNameLimit);
  std::string name;
  bool wasControl = false;
  for (const char byte : text) {
    const auto code = static_cast<unsigned char>(byte);
    const bool isControl = code < 0x20 || code == 0x7F;
    if (!isControl) {
      name.push_back(byte);
    } else if (!wasControl) {
      name.push_back(' ');
    }
    wasControl = isControl;
  }
  return sameFor(name);
}

Distribution readInstalled(std::string_view) {
  return sameFor("Caldera Linux");
}

Distribution readIssue(std::string_view text) {
  TextLines lines(text, kLineLimit);
  for (std::string_view line; lines.next(line);) {
    if (line.find("Caldera") != std::string_view::npos) return sameFor("Caldera Linux");
  }
  return {};
}

Distribution readLsbRelease(std::string_view text) {
  std::string id, release, codename, description;
  const std::pair<std::string_view, std::string*> keys[] = {{"DISTRIB_ID=", &id},
                                                            {"DISTRIB_RELEASE=", &release},
                                                            {"DISTRIB_CODENAME=", &codename},
                                                            {"DISTRIB_DESCRIPTION=", &description}};
  TextLines lines(text, kLineLimit);
  for (std::string_view line; lines.next(line);) {
    line = withoutTrailing(line, "\n");
    for (const auto& [key, value] : keys) {
      if (line.substr(0, key.size()) == key) *value = line.substr(key.size());
    }
  }
  const std::string name = id + " " + release;
  return {std::string(cutText(name, kNameLimit)),
          std::string(cutText(name + " (" + description + " " + codename + ")", kNameLimit))};
}

Distribution readDebianVersion(std::string_view text) {
  const std::string_view version = firstLine(text, kLineLimit);
  return version.empty() ? Distribution() : sameFor("Debian " + std::string(version));
}

// The first that is there decides, even when it tells nothing.
constexpr struct {
  const char* path;
  Distribution (*read)(std::string_view text);
} kReleaseSources[] = {
    {"/etc/os-release", readOsRelease},
    {"/etc/redhat-release", readReleaseText},
    {"/etc/turbolinux-release", readReleaseText},
    {"/etc/SuSE-release", readReleaseText},
    {"/etc/UnitedLinux-release", readReleaseText},
    {"/etc/.installed", readInstalled},
    {"/etc/.issue", readIssue},
    {"/etc/lsb-release", readLsbRelease},
    {"/etc/debian_version", readDebianVersion},
};

Distribution findDistribution() {
  Distribution found;
  for (const auto& source : kReleaseSources) {
    const FileText file = machine().readFile(source.path);
    if (file.error != 0 && file.error != EISDIR) continue;  // a directory can be opened
    found = source.read(file.text);
    break;
  }
  if (found.name.empty()) found.name = "Linux";
  if (found.description.empty()) found.description = "Linux";
  return found;
}

constexpr struct {
  const char* line;
  const char* failure;
} kWordSizeCommands[] = {
    {"getconf -v POSIX_V6_LP64_OFF64 LONG_BIT 2>&1", "Kernel mode method 1 not retrieved"},
    {"getconf LONG_BIT 2>/dev/null", "Kernel mode method 2 not retrieved"},
};

std::string findWordSize() {
  const Trace trace(getCcLogHw(), "findWordSize()");
  if (useNativeSources()) {
    const auto bits = machine().wordSize();
    if (bits == 32 || bits == 64 || bits == 128) return std::to_string(*bits);
  }
  for (const auto& command : kWordSizeCommands) {
    const CommandOutput output = machine().runCommand(command.line);
    if (!output.started) {
      trace.at().min("hardware %s", command.failure);
      return {};
    }
    const std::string_view size = firstLine(output.text, 256);
    if (size == "32" || size == "64" || size == "128") return std::string(size);
  }
  return {};
}

}  // namespace
}  // namespace invscan

using namespace invscan;

KelTable* OperatingSystemGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  auto identity = machine().kernelIdentity();
  const bool isKnown = identity.has_value();
  const KernelIdentity kernel = std::move(identity).value_or(KernelIdentity());
  if (isKnown) {
    trace.at().max("hardware uname name=%s node=%s rel=%s ver=%s mach=%s", kernel.sysname.c_str(),
                   kernel.nodename.c_str(), kernel.release.c_str(), kernel.version.c_str(),
                   kernel.machine.c_str());
  }
  const KernelVersion version = splitRelease(kernel.release);
  const Distribution distribution = findDistribution();
  trace.at().max("hardware OS Description retrieved=%s", distribution.description.c_str());
  const std::string architecture(cutText(kernel.machine, kArchitectureLimit));
  const std::string wordSize = findWordSize();
  trace.at().max("hardware Arch retrieved=%s", architecture.c_str());
  trace.at().max("hardware Kernel mode retrieved=%s", wordSize.c_str());
  const LocaleName messages = machine().setLocale(LC_MESSAGES);
  if (!messages.known) trace.at().min("hardware setlocale returned NULL");

  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  RowBuilder()
      .text(1, distribution.name)
      .count(2, kTypeLinux)
      .count(3, version.major)
      .count(4, version.minor)
      .text(5, version.sub)
      .text(10, architecture)
      .text(11, wordSize)
      .text(12, distribution.description)
      .text(15, messages.name)
      .addTo(*table);
  return table.release();
}
