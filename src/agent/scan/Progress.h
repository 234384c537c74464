// One line on standard error that tells what a scan is doing, if that is a terminal.
#pragma once

#include <chrono>

#include <invscan/catalogue.h>

namespace invscan::agent {

class Progress {
 public:
  Progress() = default;
  // Erases the line.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // A scan that is over at once shows nothing.
  void show(const kelGroupDef* running, int done, int total);

 private:
  bool isShown_ = false;
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

}  // namespace invscan::agent
