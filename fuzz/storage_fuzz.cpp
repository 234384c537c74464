// Forged machines, of whose devices the Storage group tells by either set of sources.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <invscan/groups.h>
#include <invscan/storage.h>

#include "ForgedMachine.h"
#include "FuzzTarget.h"

namespace {

using namespace invscan;

// Rows are counted from 1, and their values are of the enumerations.
void check(KelTable* found) {
  const std::unique_ptr<KelTable> table(found);
  unsigned long index = 0;
  while (KelTableRow* const row = table->getNext()) {
    unsigned long numbers[12] = {};
    for (unsigned long i = 0; i < row->getNumAttribs(); ++i) {
      const KelTableAttrib* const attrib = row->getNext();
      if (attrib->getType() != KEL_ULONG) continue;
      std::memcpy(&numbers[attrib->getId()], attrib->getAttribPtr()->value, sizeof numbers[0]);
    }
    if (numbers[1] != ++index || numbers[3] == 0 || numbers[3] > 69 || numbers[11] > 2)
      std::abort();
  }
}

}  // namespace

void invscan::tryInput(std::string_view input) {
  const Answers answers = forgedMachine(input);
  {
    const OnMachine machine(answers, "native");
    check(StorageGroup().getTable());
  }
  const OnMachine machine(answers);
  check(StorageGroup().generateTable());
  unsigned long numbers[4];
  for (auto* parser : {getFromFdisk, getFromFdisk2}) {
    if (parser("/dev/sg1", &numbers[0], &numbers[1], &numbers[2], &numbers[3]) != 0 &&
        (numbers[0] == 0 || numbers[1] == 0 || numbers[2] == 0)) {
      std::abort();
    }
  }
}
