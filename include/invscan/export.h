// Marks what the shared library exports; everything else in it is hidden.
#pragma once

#define INVSCAN_EXPORT __attribute__((visibility("default")))
