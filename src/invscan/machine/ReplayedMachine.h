// A machine that answers from a capture.
#pragma once

#include <atomic>
#include <map>
#include <string>

#include "invscan/machine/Capture.h"
#include "invscan/machine/Machine.h"

namespace invscan {

class ReplayedMachine : public Machine {
 public:
  // Throws CaptureError when the directory is not a usable capture. Changes nothing of the process.
  explicit ReplayedMachine(const std::string& directory);

  // Of facts alone, without files.
  explicit ReplayedMachine(CaptureFacts facts);

  // Puts the capture's environment and time zone in place of the process's.
  void takeEffect();

 protected:
  std::string explainError(const std::string& path, int error) const override;
  bool isObstacle(const std::string& path, int error) const override;
  bool wasRecorded(const Question& question) const override;
  CommandOutput doRunCommand(const std::string& line, const CommandLimits& limits) override;

 private:
  explicit ReplayedMachine(const Descriptor& capture);

  FileText doReadFile(const std::string& path, std::size_t limit) override;
  int doExists(const std::string& path) override;
  FileText doReadLink(const std::string& path) override;
  Listing doListDirectory(const std::string& path) override;
  FileText doReadMemory(unsigned long address, unsigned long length) override;
  HelperOutput doRunHelper(const std::string& command, const char* arguments,
                           const char* tracePath) override;
  void doAsk(Question& question) override;
  LocaleName doSetLocale(int category) override;
  TimeZone doSetTimeZone() override;

  // How often each program of a section was asked for. All are there from the start, so that
  // threads only count.
  using Turns = std::map<std::string, std::atomic<std::size_t>>;

  static Turns turnsOf(const CaptureFacts::Programs& programs);
  // The captured program whose turn it is; null when the capture does not have it.
  static const CapturedProgram* takeTurn(const CaptureFacts::Programs& programs, Turns& turns,
                                         const std::string& name);
  // Whether a question for a path that gave this error was asked when the machine was recorded.
  bool wasAsked(const std::string& path, int error) const;
  // The error noted for any of some names; 0 when there is none.
  int errorOf(std::initializer_list<std::string> names) const;

  CaptureFacts facts_;
  CaptureFiles files_;
  Turns commandTurns_ = turnsOf(facts_.commands), helperTurns_ = turnsOf(facts_.helpers);
};

}  // namespace invscan
