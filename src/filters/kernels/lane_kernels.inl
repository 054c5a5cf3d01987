// The kernels in lanes, in the order in which they build on each other: one source for every instruction set, after the
// row's own vectors.
#include "filters/kernels/plain.inl"

#include "filters/kernels/lanes.inl"

#include "filters/kernels/cascade.inl"

#include "filters/kernels/multiband.inl"

#include "filters/kernels/sums.inl"

#include "filters/kernels/parts.inl"

#include "filters/kernels/tone.inl"

#include "filters/kernels/meter.inl"

#include "filters/kernels/joined.inl"

#include "filters/kernels/pcm.inl"
