/* The questions of a scan as C programs ask them, with the same system calls and nothing else. */
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

void bareReadFile(const char* path, size_t limit);
void bareExists(const char* path);
void bareReadLink(const char* path);
/* Only tries: most machines let nobody read it. */
void bareOpenMemory(void);
void bareClock(void);
void bareKernelIdentity(void);
void bareMemoryFigures(void);
void barePageSize(void);
void bareRunLevelRecord(void);
void bareWordSize(void);
void bareSetLocale(int category);
void bareSetTimeZone(void);

#ifdef __cplusplus
}
#endif
