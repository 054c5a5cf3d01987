// Stands in for the library's way out (linked with --wrap), so that fuzzing goes on after a documented
// process end.
#include "fuzz/fuzz.h"

extern "C" [[noreturn]] void __wrap__ZN6common11end_processEv();  // NOLINT: the linker's name
extern "C" void __wrap__ZN6common11end_processEv() { throw fuzz::DocumentedEnd{}; }
