// The instruction sets, each defined in a file of its own that is compiled for it. They are data: code of those files
// runs only once the processor is known to have the instructions.
#pragma once

#include "lanes/target.h"

namespace targets {

bool always();
bool has_avx2();  // and fused multiply-add
bool has_avx512();

extern const lanes::Target kScalar;  // the definition, for any processor
// The same with fused multiply-add as an instruction: what lanes are measured against.
extern const lanes::Target kScalarFma;
extern const lanes::Target kAvx2;  // 8 lanes, 16 registers
// 8 lanes, 32 registers: with 16 lanes every addition takes a cycle longer.
extern const lanes::Target kAvx512;
extern const lanes::Target kNeon;  // 4 lanes, 32 registers

}  // namespace targets
