// What a VMware hypervisor is asked: its port, the administrator's keys, its guest library.
#include <dlfcn.h>

#include "FakeGuestLibrary.h"
#include "TestMachine.h"
#include "Testing.h"
#include "TracedText.h"

namespace invscan {
namespace {

// Whether there is a channel or not; in a process whose SIGSEGV is somebody else's.
TEST(GuestChannel, LeavesSignalsAsTheyWere) {
  struct sigaction before = {}, own = {}, after = {};
  own.sa_handler = [](int) {};
  sigaction(SIGSEGV, &own, &before);
  sigset_t mask, maskAfter;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  for (int i = 0; i < 100; ++i) {
    unsigned eax = 1, ebx = 2, ecx = 10, edx = 4;
    if (VMwareBackdoor(&eax, &ebx, &ecx, &edx) != 0) continue;
    EXPECT_TRUE(eax == 1 && ebx == 2 && ecx == 10 && edx == 4) << "outputs are the inputs";
    EXPECT_EQ(VMwareBackdoor(nullptr, nullptr, nullptr, nullptr), 0U);
  }
  sigaction(SIGSEGV, &before, &after);
  pthread_sigmask(SIG_SETMASK, nullptr, &maskAfter);
  EXPECT_EQ(after.sa_handler, own.sa_handler);
  EXPECT_EQ(sigismember(&mask, SIGSEGV), sigismember(&maskAfter, SIGSEGV));
}

TEST(GuestChannel, CountsInItsVersion6Only) {
  constexpr std::uint32_t kGetVersion = 10;
  const struct {
    CpuidRegisters registers;
    int isVirtual, detected;
  } rows[] = {
      {{6, kChannelMagic, 1, 0}, 1, 6},       {{6, kChannelMagic, 4, 0}, 1, 6},
      {{6, kChannelMagic, 0, 0}, 0, 0},       {{6, kChannelMagic, 5, 0}, 0, 0},
      {{6, kChannelMagic + 1, 1, 0}, 0, 0},   {{7, kChannelMagic, 2, 0}, 0, 7},
      {{0x106, kChannelMagic, 2, 0}, 0, 255},
  };
  for (const auto& row : rows) {
    const OnMachine machine(
        {.plain = {answered<GuestChannelQuestion>(row.registers, {kGetVersion, 0})}});
    TracedText traced;
    traced.enable(CcLogWrapper::kMin);
    EXPECT_EQ(check_virtual(), row.isVirtual);
    const std::string message =
        "VMware software version: detected " + std::to_string(row.detected) + " required 6";
    EXPECT_EQ(traced.written().find(message) == std::string::npos, row.isVirtual == 1) << message;
  }
  const OnMachine machine({});
  EXPECT_EQ(check_virtual(), 0) << "a capture without channel";
}

TEST(GuestKeys, AreTheFirstLineOfATool) {
  const std::string longText(2 * kGuestTextSize, 'x'),
      full = longText.substr(0, kGuestTextSize - 1);
  const struct {
    std::string output;
    int status, code;
    std::string value;
  } rows[] = {
      {"node 1 \t\r\nNo value found\n", 0, 0, "node 1"},
      {"no newline", 0, 0, "no newline"},
      {"\n", 0, 0, "\n"},
      {" \t\n", 0, 0, " "},
      {std::string("\0b\n", 3), 0, 0, ""},
      {full.substr(1) + "\u00fc\n", 0, 0, full.substr(1)},
      {std::string(1 << 20, 'x'), 128 + SIGKILL, 0, full},
      {"", 0, -1, ""},
      {"text\n", 1, 1, ""},
      {"text\n", 128, -128, ""},
      {longText + "No value found", 0, -2, ""},
  };
  for (const auto& row : rows) {
    const OnMachine machine({.commands = {{"tool", {.output = row.output, .status = row.status}}},
                             .notStarted = "none"});
    // Of just the promised size: the sanitizers watch its end.
    const std::unique_ptr<char[]> buffer(new char[kGuestTextSize]{'o', 'l', 'd'});
    EXPECT_EQ(getInfo(buffer.get(), "tool"), row.code) << row.output.substr(0, 80);
    EXPECT_EQ(buffer.get(), row.value);
    EXPECT_EQ(getInfo(buffer.get(), "none"), -1);
    EXPECT_STREQ(buffer.get(), "");
  }
  char buffer[kGuestTextSize];
  EXPECT_EQ(getInfo(buffer, "yes again"), 0) << "a tool without end";
  EXPECT_STREQ(buffer, "again");
}

// One that leaves others behind, with its output still open, has answered all the same.
TEST(GuestKeys, AreNotWaitedForWithoutEnd) {
  const struct {
    const char *line, *text;
    int status;
  } rows[] = {
      {"echo a; exec sleep 60", "a\n", 128 + SIGKILL},
      {"exec >&-; exec sleep 60", "", 128 + SIGKILL},
      {"echo a; sleep 3 & exit 3", "a\n", 3},
      {"yes", "y\ny\ny\ny\ny\n", 128 + SIGKILL},
  };
  for (const auto& row : rows) {
    const CommandOutput output =
        machine().runCommand(row.line, {10, std::chrono::milliseconds(500)});
    EXPECT_EQ(output.text, row.text) << row.line;
    EXPECT_EQ(output.status, row.status) << row.line;
  }
  const OnMachine machine({.commands = {{"tool", {.output = "a", .hangs = true}}}});
  char buffer[kGuestTextSize] = "old";
  EXPECT_EQ(getInfo(buffer, "tool"), -1);
  EXPECT_STREQ(buffer, "");
}

std::pair<std::string, CapturedProgram> answerOf(const std::string& tool, const std::string& key,
                                                 const std::string& output) {
  return {tool + " 'info-get guestinfo.orv_" + key + "' 2>/dev/null", {.output = output + "\n"}};
}
const std::string kGuestd = "vmware-guestd --cmd", kRpctool = "vmware-rpctool";

TEST(GuestKeys, ComeFromTheSecondToolWhenTheFirstFails) {
  Answers answers{
      .commands = {
          answerOf(kGuestd, "node_id", "No value found"), answerOf(kRpctool, "node_id", "None"),
          answerOf(kGuestd, "node_capacity", "3000000000 MHz"),
          answerOf(kRpctool, "node_capacity", "1"), answerOf(kRpctool, "vm_capacity", "1.75"),
          answerOf(kRpctool, "node_man", "None"), answerOf(kRpctool, "node_prod", "None"),
          answerOf(kRpctool, "node_type", "None")}};
  char nodeId[kGuestTextSize], vmId[kGuestTextSize] = "old", third[] = "mine";
  unsigned nodeCapacity = 5;
  double vmCapacity = 5;
  const OnMachine machine(answers);
  EXPECT_EQ(getGuestInfo(nodeId, &nodeCapacity, vmId, &vmCapacity), 0);
  EXPECT_EQ(nodeId + std::string("|") + vmId, "None|");
  EXPECT_TRUE(nodeCapacity == 3000000000U && vmCapacity == 5) << "the first failure ends it";
  EXPECT_TRUE(getVMCapacity(&vmCapacity) == 1 && vmCapacity == 1.75);
  HostInfo info{nullptr, nullptr, third, nullptr, nullptr, nullptr};
  EXPECT_EQ(getHostInfo(&info), 0) << "the last key was read, though the version was not";
  EXPECT_EQ(info.serialNumber, third);
  std::string texts;
  for (char* text :
       {info.manufacturer, info.nodeId, info.product, info.version, info.machineType}) {
    texts += std::string(text) + "|";
    free(text);
  }
  EXPECT_EQ(texts, "None|None||||");
}

// A fake, loaded under the name that the provider looks for.
using LoadedLibrary = std::unique_ptr<void, int (*)(void*)>;

LoadedLibrary loadFake(const std::string& missing = "None") {
  return {dlopen((INVSCAN_GUEST_LIBRARIES + missing + ".so").c_str(), RTLD_NOW), dlclose};
}

FakeGuestLibrary& fakeOf(const LoadedLibrary& library) {
  return *static_cast<FakeGuestLibrary*>(dlsym(library.get(), "fakeGuestLibrary"));
}

// "" where nothing was told and the record is as it was.
std::string figuresOf(VMwareGuestInfoProvider& provider) {
  VMwareGuestInfo info{1, 2, 3, 4};
  const bool isTold = provider.retrieveGuestInfo(info);
  const std::string figures =
      std::to_string(info.cpuReservationMHz) + " " + std::to_string(info.cpuLimitMHz) + " " +
      std::to_string(info.cpuShares) + " " + std::to_string(info.hostProcessorSpeedMHz);
  return !isTold && figures == "1 2 3 4" ? "" : figures;
}

constexpr char kFigures[] = "1000 4294967295 4000 2400";

TEST(GuestLibrary, KeepsItsHandleAndGoesOnWhereItFailed) {
  const struct {
    FakeGuestLibrary fake;
    const char* calls;  // of the failing question
    std::string message;
    const char* later;  // calls of the next two questions, when all is well, and of the end
  } rows[] = {
      {{"", "O", 1, true}, "O", "VMGuestLib_OpenHandle() failed: 1, text", "OUSHRLCUSHRLCX"},
      {{"", "U", 1, true}, "OU", "VMGuestLib_UpdateInfo failed: 2, text", "USHRLCUSHRLCX"},
      {{"", "S", 1, true}, "OUS", "VMGuestLib_GetSessionId failed: 4, text", "USHRLCUSHRLCX"},
      {{"", "", 0, true}, "OUS", "VMGuestLib_GetSessionId invalid (0)", "USHRLCUSHRLCX"},
      {{"", "HC", 1, true}, "OUSHRLC", "failed, error=72, text", "USHRLCUSHRLCX"},
      {{"", "L", 1, false}, "OUSHRLC", "failed, error=32, ", "USHRLCUSHRLCX"},
  };
  for (const auto& row : rows) {
    const LoadedLibrary library = loadFake();
    FakeGuestLibrary& fake = fakeOf(library);
    {
      VMwareGuestInfoProvider provider;
      fake = row.fake;
      TracedText traced;
      traced.enable(CcLogWrapper::kMin);
      EXPECT_EQ(figuresOf(provider), "");
      EXPECT_STREQ(fake.calls, row.calls);
      EXPECT_NE(traced.written().find(row.message), std::string::npos) << row.message;
      fake = {"", "", 1, false};
      EXPECT_EQ(figuresOf(provider), kFigures);
      EXPECT_EQ(figuresOf(provider), kFigures);
    }
    EXPECT_STREQ(fake.calls, row.later);
  }
}

TEST(GuestLibrary, NeedNotBeThereAndAnswersForTheLiveMachineOnly) {
  VMwareGuestInfoProvider provider;
  {
    const LoadedLibrary notWhole = loadFake("CloseHandle");
    EXPECT_EQ(figuresOf(provider), "");
  }
  TracedText traced;
  traced.enable(CcLogWrapper::kMin);
  EXPECT_EQ(figuresOf(provider), "");
  const std::string text = traced.written(), message = "Failed to load guest API library, error=";
  EXPECT_NE(text.find(message), text.rfind(message)) << "unloaded, so that it is looked for twice";

  const LoadedLibrary whole = loadFake();
  EXPECT_EQ(figuresOf(provider), kFigures);
  const OnMachine machine({.plain = {answered<GuestLibraryQuestion>(VMwareGuestInfo{5, 6, 7, 8})}});
  EXPECT_EQ(figuresOf(provider), "5 6 7 8");
  setMachine(std::make_unique<TestMachine>(Answers{}));
  EXPECT_EQ(figuresOf(provider), "");
  EXPECT_STREQ(fakeOf(whole).calls, "OUSHRLC");
}

}  // namespace
}  // namespace invscan
