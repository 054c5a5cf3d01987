// The readable forms for the processor the build is for.
#define TARGET scalar
#include "targets/run.h"

constexpr lanes::Target targets::kScalar = TARGET::entry("scalar", always);
