// Sine and cosine whose bits depend on no C library: of all the functions that the designs use these are the ones
// whose single-precision results differ between libraries.
#pragma once

namespace common {

// Radians. Within a turn, -2 pi to 2 pi, the bits of glibc's sinf and cosf, which scripts/check-sine holds every one of
// these floats to; beyond, where no design makes sense, and for what is no number, the C library's own answer.
float sine(float x);
float cosine(float x);

}  // namespace common
