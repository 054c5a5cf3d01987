// The rows of the table, each defined in a file of its own that is compiled for its instruction set. They are data:
// code of those files runs only once the processor is known to have the instructions.
#pragma once

#include "filters/kernels/kernels.h"

namespace filters {

bool always();
bool has_avx2();  // and fused multiply-add
bool has_avx512();

namespace scalar {  // the definition, for any processor
extern const Kernels kRow;
}
namespace scalar_fma {  // the same with fused multiply-add as an instruction: what the wider rows are measured against
extern const Kernels kRow;
}
namespace avx2 {  // 8 lanes, 16 registers
extern const Kernels kRow;
}
namespace avx512 {  // 8 lanes, 32 registers: with 16 lanes every addition takes a cycle longer
extern const Kernels kRow;
}
namespace neon {  // 4 lanes, 32 registers
extern const Kernels kRow;
}

}  // namespace filters
