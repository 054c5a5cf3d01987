// The effects that can share a loop with their neighbours (filters/batch.h). Each joins with one block, in place, and
// answers whether it did; its Process is called where it did not.
#pragma once

#include "filters/batch.h"

namespace tone {

bool join(BassEnhancerState& s, float** x, int n, filters::Batch& batch);
bool join(ExciterState& s, float** x, int n, filters::Batch& batch);
bool join(DeEsserState& s, float** x, int n, filters::Batch& batch);
bool join(EQ10State& s, float** x, int n, filters::Batch& batch);

}  // namespace tone
