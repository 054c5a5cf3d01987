// The effects as the chain holds them: sharing its working memory, and joining a block of its. The
// samples of a block are in `in`, and go to `out`, which may be the same.
#pragma once

#include "lanes/block.h"
#include "zelkaudio_effect_eqdrc.h"

namespace tone {

// Lets the working memory of their own go: their owner has one for all. Only join() may be called from then on.
void share_scratch(BassEnhancerState& s);
void share_scratch(ExciterState& s);
void share_scratch(DeEsserState& s);
void share_scratch(EQ10State& s);

void join(BassEnhancerState& s, float** in, float** out, lanes::Block& block);
void join(ExciterState& s, float** in, float** out, lanes::Block& block);
void join(DeEsserState& s, float** in, float** out, lanes::Block& block);
void join(EQ10State& s, float** in, float** out, lanes::Block& block);

}  // namespace tone
