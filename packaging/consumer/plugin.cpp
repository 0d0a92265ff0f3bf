#include "Process.h"

extern "C" [[gnu::visibility("default")]] Process processOfPlugin() { return process(); }
