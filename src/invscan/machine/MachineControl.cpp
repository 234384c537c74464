// The public functions that change the machine.
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include <invscan/machine.h>

#include "base/LocalTime.h"
#include "invscan/machine/Capture.h"
#include "invscan/machine/LiveMachine.h"
#include "invscan/machine/RecordingMachine.h"
#include "invscan/machine/ReplayedMachine.h"

namespace invscan {
namespace {

// The process's own environment while a replay has its own in place.
class OwnEnvironment {
 public:
  void save() {
    if (isSaved_) return;
    isSaved_ = true;
    variables_ = capturedEnvironment();
    if (const char* zones = getenv("TZDIR")) variables_["TZDIR"] = zones;
  }

  void restore() {
    if (!isSaved_) return;
    isSaved_ = false;
    unsetenv("TZDIR");
    for (const auto& [name, value] : capturedEnvironment()) unsetenv(name.c_str());
    for (const auto& [name, value] : variables_) setenv(name.c_str(), value.c_str(), 1);
    setTimeZone();
  }

 private:
  bool isSaved_ = false;
  std::map<std::string, std::string> variables_;
};

OwnEnvironment& ownEnvironment() {
  static OwnEnvironment instance;
  return instance;
}

std::shared_ptr<RecordingMachine> currentRecording;

void beLive() {
  currentRecording.reset();
  setMachine(std::make_shared<LiveMachine>());
  ownEnvironment().restore();
}

// Runs a change of machine; what goes wrong becomes one line about the directory.
template <class Change>
bool attempt(const std::string& directory, std::string& error, Change change) {
  try {
    change();
    return true;
  } catch (const std::exception& problem) {
    error = directory + ": " + problem.what();
    return false;
  }
}

}  // namespace

bool replayMachine(const std::string& directory, std::string& error) {
  return attempt(directory, error, [&] {
    auto replay = std::make_shared<ReplayedMachine>(directory);
    ownEnvironment().save();
    replay->takeEffect();
    currentRecording.reset();
    setMachine(std::move(replay));
  });
}

bool recordMachine(const std::string& directory, std::string& error) {
  return attempt(directory, error, [&] {
    beLive();
    currentRecording =
        std::make_shared<RecordingMachine>(directory, std::make_unique<LiveMachine>());
    setMachine(currentRecording);
  });
}

bool joinRecording(const std::string& directory, std::string& error) {
  return attempt(directory, error, [&] {
    setMachine(std::make_shared<RecordingMachine>(directory, std::make_unique<LiveMachine>(),
                                                  RecordingMachine::Part::Joins));
  });
}

bool finishRecording(std::string& error) {
  if (!currentRecording) {
    error = "no recording was begun";
    return false;
  }
  const auto recording = currentRecording;
  beLive();
  return attempt(recording->name(), error, [&] { recording->finish(); });
}

void useLiveMachine() {
  beLive();
}

}  // namespace invscan
