// The effects as the chain holds them: made without working memory of their own, and joining a block of the chain's. The
// samples of a block are in `in`, and go to `out`, which may be the same.
#pragma once

#include "lanes/block.h"
#include "zelkaudio_effect_eqdrc.h"

namespace tone {

// As their Init.
BassEnhancerState* create_bass_enhancer(const float* section, int bit_rate, int sample_rate, int channels,
                                        int channel_link);
ExciterState* create_exciter(const float* section, int bit_rate, int sample_rate, int channels,
                             int channel_link);
DeEsserState* create_de_esser(const float* section, int bit_depth, int sample_rate, int channels,
                              int frame_length, int channel_link);
EQ10State* create_eq10(const float* section, int bit_depth, int sample_rate, int channels, int frame_length,
                       int channel_link);

void join(BassEnhancerState& s, float** in, float** out, lanes::Block& block);
void join(ExciterState& s, float** in, float** out, lanes::Block& block);
void join(DeEsserState& s, float** in, float** out, lanes::Block& block);
void join(EQ10State& s, float** in, float** out, lanes::Block& block);

}  // namespace tone
