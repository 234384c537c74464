#define _GNU_SOURCE
#include "BareCalls.h"

#include <fcntl.h>
#include <limits.h>
#include <locale.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>
#include <utmp.h>

static char text[1 << 20];
static volatile long answer;

/* In pieces that double, as long as there is more. */
void bareReadFile(const char* path, size_t limit) {
  const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  size_t length = 0, room = 0;
  ssize_t count = 1;
  if (file < 0) return;
  if (limit > sizeof text) limit = sizeof text;
  while (count > 0 && length < limit) {
    if (length == room) room = room == 0 ? 4000 : 2 * room;
    if (room > limit) room = limit;
    count = read(file, text + length, room - length);
    if (count > 0) length += (size_t)count;
  }
  close(file);
  answer = (long)length;
}

void bareExists(const char* path) {
  answer = access(path, F_OK);
}

void bareReadLink(const char* path) {
  answer = readlink(path, text, PATH_MAX);
}

void bareOpenMemory(void) {
  const int device = open("/dev/mem", O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (device >= 0) close(device);
}

void bareClock(void) {
  answer = time(NULL);
}

void bareKernelIdentity(void) {
  struct utsname names;
  answer = uname(&names);
}

void bareMemoryFigures(void) {
  struct sysinfo figures;
  answer = sysinfo(&figures);
}

void barePageSize(void) {
  answer = sysconf(_SC_PAGESIZE);
}

void bareWordSize(void) {
  answer = sysconf(_SC_LONG_BIT);
}

void bareRunLevelRecord(void) {
  struct utmp wanted = {.ut_type = RUN_LVL};
  setutent();
  answer = getutid(&wanted) != NULL;
  endutent();
}

void bareSetLocale(int category) {
  answer = setlocale(category, "") != NULL;
}

void bareSetTimeZone(void) {
  tzset();
}
