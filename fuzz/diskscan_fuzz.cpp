// Forged machines, of which diskscan tells.

#include "AnswerCheck.h"
#include "ForgedMachine.h"
#include "helpers/diskscan/DiskScan.h"

void invscan::tryInput(std::string_view input) {
  const OnMachine machine(forgedMachine(input));
  checkAnswer(diskscan::scanDisks().get());
}
