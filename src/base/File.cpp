#include <invscan/base/File.h>

const String File::pathSeparator("/");
