// The platform layer: text, events, threads, throttling, the configuration store and tracing.

#include "Processes.h"
#include "ProcessorTime.h"
#include "Testing.h"
#include "TracedText.h"
#include "log/Trace.h"

namespace {

using namespace std::chrono_literals;
using invscan::expectShare;
using invscan::ShareMeter;
using invscan::useProcessor;
using Clock = std::chrono::steady_clock;

TEST(StringTest, NarrowTextSurvivesTheWayThereAndBack) {
  const struct {
    std::string narrow;
    std::wstring wide;
  } rows[] = {
      {"", L""},
      {std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
      {"\x7F \xC2\x80 \xDF\xBF", L"\x7F \x80 \x7FF"},
      {"\xE0\xA0\x80 \xEF\xBF\xBF", L"\x800 \xFFFF"},
      {"\xF0\x90\x80\x80 \xF4\x8F\xBF\xBF", L"\x10000 \x10FFFF"},
      {"\x80 \xFF", L"\xDC80 \xDCFF"},                    // no lead byte
      {"\xC3 \xE2\x82", L"\xDCC3 \xDCE2\xDC82"},          // cut short
      {"\xC0\x80", L"\xDCC0\xDC80"},                      // longer than needed
      {"\xE0\x9F\xBF", L"\xDCE0\xDC9F\xDCBF"},            // likewise
      {"\xF0\x8F\xBF\xBF", L"\xDCF0\xDC8F\xDCBF\xDCBF"},  // likewise
      {"\xED\xB2\x80", L"\xDCED\xDCB2\xDC80"},            // a surrogate spelled out
      {"\xF4\x90\x80\x80", L"\xDCF4\xDC90\xDC80\xDC80"},  // beyond the last character
      {"\xF8\x88\x80\x80", L"\xDCF8\xDC88\xDC80\xDC80"},
  };
  for (const auto& row : rows) {
    const String text(row.narrow);
    EXPECT_EQ(std::wstring(text.toWide(), text.length()), row.wide);
    EXPECT_EQ(text.toNarrow(), row.narrow);
  }
}

TEST(StringTest, WideTextThatUtf8CannotSpellIsReplaced) {
  for (const int odd : {0xD800, 0xDC7F, 0xDD00, 0xDFFF, 0x110000, -1}) {
    EXPECT_EQ(String(std::wstring(1, odd)).toNarrow(), "\xEF\xBF\xBD") << odd;
  }
  EXPECT_TRUE(String(static_cast<const char*>(nullptr)).isEmpty());
  EXPECT_TRUE(String(static_cast<const wchar_t*>(nullptr)).isEmpty());
}

TEST(EventTest, CountsMillisecondsAndRemembersASignalThatCameFirst) {
  Event event;
  for (const int limit : {-1, 0, 1}) EXPECT_EQ(event.wait(limit), kEventTimedOut);
  const auto start = Clock::now();
  EXPECT_EQ(event.wait(50), kEventTimedOut);
  EXPECT_GE(Clock::now() - start, 50ms);
  EXPECT_LT(Clock::now() - start, 40s) << "seconds";
  event.signal();
  for (const int limit : {-1, 0, 1, 200000}) EXPECT_EQ(event.wait(limit), 0);
}

// The sanitizers watch the signalling thread's last steps.
TEST(EventTest, MayBeDeletedAsSoonAsTheWaitReturns) {
  for (int i = 0; i < 500; ++i) {
    auto* event = new Event;
    std::thread signaller([event] { event->signal(); });
    EXPECT_EQ(event->wait(10000), 0);
    delete event;
    signaller.join();
  }
}

struct GatedThread : Thread {
  void run() override {
    gate.wait(10000);
    ++runs;
  }

  Event gate;
  std::atomic<int> runs = 0;
};

TEST(ThreadTest, StartsOnceAndJoinsOnce) {
  GatedThread thread;
  EXPECT_EQ(thread.join(), EINVAL);
  EXPECT_EQ(thread.start(), 0);
  EXPECT_NE(thread.start(), 0);
  thread.gate.signal();
  EXPECT_EQ(thread.join(), 0);
  EXPECT_EQ(thread.runs, 1);
  EXPECT_EQ(thread.join(), EINVAL);
}

// How long the threshold pauses after that much work and sleep.
ShareMeter::Duration pauseAfter(CpuThreshold& threshold, std::chrono::nanoseconds work,
                                std::chrono::milliseconds sleep = 0ms) {
  useProcessor(work);
  std::this_thread::sleep_for(sleep);
  const ShareMeter meter;
  threshold.iteration();
  return meter.timeWithProcessor();
}

TEST(CpuThresholdTest, StretchesTheTimeToTheShare) {
  CpuThreshold threshold;
  const ShareMeter meter;
  threshold.initialize("20");
  pauseAfter(threshold, 50ms);
  EXPECT_GE(meter.time(), 245ms) << "less than 5 ms are left to the next pause";
  EXPECT_LT(meter.timeWithProcessor(), 1s);
  EXPECT_LT(pauseAfter(threshold, 20ms, 80ms), 50ms) << "has slept";
  for (const char* percent : {"", "0", "100", "-1", "abc", "20x", "99999999999999999999"}) {
    threshold.initialize(percent);
    EXPECT_LT(pauseAfter(threshold, 20ms), 50ms) << percent;
  }
}

// Neither the delay of a sleep nor the pauses that are too short for one may spoil the share.
TEST(CpuThresholdTest, KeepsTheShareAlsoWhenAskedOften) {
  CpuThreshold threshold;
  expectShare(
      0.4, 500ms, [&] { threshold.initialize("80"), threshold.divideAmong(2); },
      [&] { useProcessor(20us), threshold.iteration(); });
}

TEST(CpuThresholdTest, BoundsOnePauseAndCarriesNoDebt) {
  CpuThreshold threshold;
  const ShareMeter meter;
  threshold.initialize("1");  // would take 10 s
  EXPECT_LT(pauseAfter(threshold, 100ms), 3s);
  EXPECT_GE(meter.time(), 2s);
  EXPECT_LT(pauseAfter(threshold, 0ms), 500ms);
}

// In a process of its own, which has used no time yet.
TEST(CpuThresholdTest, StartsAfreshInAForkedChild) {
  const auto work = [] {
    CpuThreshold threshold;
    threshold.initialize("1");
    const pid_t child = fork();
    if (child == 0) _exit(pauseAfter(threshold, 50ms) < 1s ? 0 : 1);
    int status = -1;
    waitpid(child, &status, 0);
    _exit(status == 0 ? 0 : 1);
  };
  EXPECT_EXIT(work(), testing::ExitedWithCode(0), "");
}

class StoreTest : public invscan::InDirectory {
 protected:
  void TearDown() override { load(""); }  // an error of the store stays, and others wait by it

  int load(const std::string& text) {
    write("invscan.conf", text);
    return OrvCfg::load(path_);
  }

  const std::string path_ = directory_ / "invscan.conf";
};

TEST_F(StoreTest, ReadsEntries) {
  const std::string longPath = "/opt/" + std::string(5000, 'x') + "; no # comment";
  const struct {
    const char* what;
    std::string text, key, value;
  } rows[] = {
      {"above the first section", "config_dir=/etc/a\n[s]\nb=1\n", "config_dir", "/etc/a"},
      {"in a section", "a=1\n[hwscanner]\ntimeout=300\n", "hwscanner.timeout", "300"},
      {"section left behind", "[a]\nx=1\n[b]\nx=2\n", "a.x", "1"},
      {"blanks", " [ a ] \n\t name \t=\t v  w \t\n", "a.name", "v  w"},
      {"comments", "; no entry\n# no entry\n\n  ;[\nx=4", "x", "4"},
      {"long value, no inline comment", "p = " + longPath + "\n", "p", longPath},
      {"equals sign and quotes", "x = \"a=b\"\n", "x", "\"a=b\""},
      {"last one wins", "x=1\nx=\n", "x", ""},
      {"line ends and byte order mark", "\xEF\xBB\xBFx=1\r\ny=2\r\n", "x", "1"},
      {"no UTF-8", "x=a\xFF\n", "x", "a\xFF"},
      {"overridden", "[hwscanner]\nsources=x\nsources=classic", "hwscanner.sources", "classic"},
      {"empty file", "", "x", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(load(row.text), 0) << row.what << ": " << OrvCfg::getErrorText();
    EXPECT_EQ(OrvCfg::getKey(row.key).toNarrow(), row.value) << row.what;
    EXPECT_EQ(OrvCfg::getErrorText(), "") << row.what;
  }
}

TEST_F(StoreTest, RefusesAndNamesTheLine) {
  const std::string expectation = "expected `name = value` or `[section]`";
  const struct {
    const char* what;
    std::string text, message;
  } rows[] = {
      {"no equals sign", "x=1\n\nfoo\n", ":3: " + expectation},
      {"no name", "x=1\r\n= 1\r\n", ":2: " + expectation},
      {"section left open", "x=1\n[a\n", ":2: " + expectation},
      {"text behind a section", "x=1\n[a] ; b\n", ":2: " + expectation},
      {"section without name", "x=1\n[ ]\n", ":2: " + expectation},
      {"NUL", "x=1\n;" + std::string(1, '\0'), ":2: unexpected NUL byte; expected text"},
      {"long name", "x=1\n" + std::string(129, 'n') + "=1",
       ":2: name too long; at most 128 bytes are allowed"},
      {"wrong sources", "x=1\n[hwscanner]\n\nsources = both\n",
       ":4: hwscanner.sources must be `classic` or `native`"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(load(row.text), EINVAL) << row.what;
    EXPECT_EQ(OrvCfg::getErrorText(), path_ + row.message);
    EXPECT_TRUE(OrvCfg::getKey("x").isEmpty()) << row.what;
  }
  EXPECT_EQ(load("x=1"), 0) << "an earlier error must not stay";
}

TEST_F(StoreTest, RefusesWhatIsNoReadableFile) {
  EXPECT_EQ(load("x = " + std::string((1 << 20) - 4, 'y')), 0);
  EXPECT_EQ(load("x = " + std::string((1 << 20) - 3, 'y')), EFBIG);
  EXPECT_EQ(OrvCfg::load(directory_), EISDIR);
  const std::string pipe = directory_ / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(OrvCfg::load(pipe), EINVAL);
  EXPECT_EQ(OrvCfg::load(directory_ / "none"), ENOENT);
  EXPECT_EQ(OrvCfg::getErrorText(), directory_.string() +
                                        "/none: No such file or directory; expected a "
                                        "readable text file of at most 1 MiB");
}

// In a process of its own, whose store is still untouched.
TEST(FirstQuestionTest, LoadsTheNamedFile) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        const int file = memfd_create("store", 0);
        if (write(file, "x=1\ny=1\n", 8) != 8) _exit(2);
        setenv("INVSCAN_CONFIG", ("/proc/self/fd/" + std::to_string(file)).c_str(), 1);
        OrvCfg::setKey("y", "2");
        _exit(OrvCfg::getKey("x") == "1" && OrvCfg::getKey("y") == "2" ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  GTEST_FLAG_SET(death_test_style, "fast");
}

class TraceTest : public testing::Test, public invscan::TracedText {};

TEST_F(TraceTest, FormatsNothingBeyondTheLevel) {
  const char* volatile unreadable = reinterpret_cast<const char*>(1);
  for (const auto level : {CcLogWrapper::kOff, CcLogWrapper::kMin}) {
    enable(level);
    const invscan::Trace trace(getCcLogCom(), "f()");
    trace.at().mid("%s", unreadable);
    CcLogWrapper::traceMID(getCcLogCom(), 1, "p", "f()", "%s", unreadable);
    EXPECT_EQ(written(), "");
  }
}

TEST_F(TraceTest, LinesHaveTimeProcessMarkWriterAndPlace) {
  enable(CcLogWrapper::kMax);
  const time_t before = time(nullptr);
  const int entryLine = __LINE__ + 2;
  {
    const invscan::Trace trace(getCcLogHw(), "getTable()");
    trace.at().min("hardware a");
    trace.at().mid("hardware b");
    trace.at().max("hardware %d", 3);
  }
  const std::string pid = std::to_string(getpid());
  const auto expected = [&](const char* mark, int line, const char* text) {
    return " [" + pid + "] " + mark + " hw " + __FILE__ + " (" + std::to_string(line) +
           ") getTable(): " + text + "\n";
  };
  std::istringstream lines(written());
  std::string withoutTime;
  for (std::string line; std::getline(lines, line);) {
    tm when{};
    const char* fraction = strptime(line.c_str(), "%Y-%m-%d %H:%M:%S", &when);
    ASSERT_NE(fraction, nullptr) << line;
    EXPECT_GE(timegm(&when), before) << line;
    EXPECT_LE(timegm(&when), time(nullptr) + 1) << line;  // whose clock is a little behind
    EXPECT_EQ(strspn(fraction, ".0123456789"), 7u) << line;
    withoutTime += std::string(fraction + 7) + "\n";
  }
  EXPECT_EQ(withoutTime, expected("-->", entryLine, "hardware") +
                             expected("MIN", entryLine + 1, "hardware a") +
                             expected("MID", entryLine + 2, "hardware b") +
                             expected("MAX", entryLine + 3, "hardware 3") +
                             expected("<--", entryLine, "hardware"));
}

TEST_F(TraceTest, LongLinesAreCutBetweenCharacters) {
  enable(CcLogWrapper::kMin);
  std::string text;
  while (text.size() < 3000) text += "\xE2\x82\xAC";
  for (int shift = 0; shift < 3; ++shift) {
    CcLogWrapper::traceMIN(getCcLogHw(), 1, "p", "f()", "%s", text.c_str());
    const std::string line = written();
    EXPECT_TRUE(line.size() > 2040 && line.size() <= 2048) << line.size();
    EXPECT_TRUE(line.ends_with("\xE2\x82\xAC...\n")) << line;
    text.insert(0, "x");
  }
}

TEST_F(TraceTest, TextIsOneLineAndNeverLost) {
  enable(CcLogWrapper::kMin);
  CcLogWrapper::traceMIN(getCcLogHw(), 1, "p", "f()", "a\nb\x1B[2J\tc\x7F %s",
                         "\xC3\xA4\xC2\x9B\xC2\xA0\xC2g");
  EXPECT_TRUE(written().ends_with("f(): a b [2J c  \xC3\xA4  \xC2\xA0\xC2g\n"));
  CcLogWrapper::traceMIN(getCcLogHw(), 1, "p", "f()", "name=%ls", L"\x20AC");  // C locale
  EXPECT_TRUE(written().ends_with("f(): name=%ls\n"));
  const int readOnly = open("/dev/null", O_RDONLY | O_CLOEXEC);
  CcLogWrapper::setSink(readOnly, CcLogWrapper::kMin);
  errno = ENOTTY;
  CcLogWrapper::traceMIN(getCcLogHw(), 1, "p", "f()", "x");
  EXPECT_EQ(errno, ENOTTY) << "changed by a trace that could not be written";
  close(readOnly);
}

}  // namespace
