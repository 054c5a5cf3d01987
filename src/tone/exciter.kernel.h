// The sound of the exciter: high-pass, bias and soft clipper, high-pass, mix.
#pragma once

#include "lanes/block.h"
#include "lanes/parts.h"
#include "zelkaudio_effect_eqdrc.h"

namespace tone {

struct ExciterChannel {
  const BiquadCoeffs *pre, *post;
  BiquadHistory *pre_history, *post_history;
  float bias, drive, wet, dry;
  float scale;  // full scale, a power of two
  const float* in;
  float* out;
};
using ExciterJob = lanes::Job<ExciterChannel>;
inline constexpr lanes::Kind kExciterKind{};

}  // namespace tone

#if defined(TARGET)
namespace TARGET {
namespace {

using tone::ExciterChannel;
using tone::ExciterJob;

// 1.5 u - 0.5 u^3 between -1 and 1, where its slope reaches 0. NaN is 1.
float soft_clip(float u) {
  if (!(u <= 1.0f)) return 1.0f;
  return u >= -1.0f ? u * fused(-u, 0.5f * u, 1.5f) : -1.0f;
}

[[maybe_unused]] void plain(const ExciterJob& job, int n) {
  for (int ch = 0; ch < job.count; ++ch) {
    const ExciterChannel c = job.channels[ch];
    const BiquadCoeffs pre = *c.pre, post = *c.post;
    BiquadHistory pre_history = *c.pre_history, post_history = *c.post_history;
    for (int i = 0; i < n; ++i) {
      const float x = c.in[i] / c.scale;
      const float high = section_step(pre, pre_history, x);
      const float shaped = soft_clip((high + c.bias) * c.drive);
      const float w = section_step(post, post_history, shaped);  // without the offset that the bias makes
      c.out[i] = c.scale * fused(c.wet, w, c.dry * x);
    }
    *c.pre_history = pre_history, *c.post_history = post_history;
  }
}

#if defined(LANES)

//
//   | pre L R | post L R |  read the frame, and what the clipper made two steps before of pre as it was then; or, where
//                           a step is two frames, what it has just made of pre
struct ExciterPart {
  static constexpr int kQuads = 1, kLag = kShortPasses ? 2 : 3;
  const ExciterChannel* const* channels;
  int start;
  Quad bias, drive, wet, dry;
  Quad clipping, clipped;  // on its way, and done
  Quad before, latest;     // where a step is two frames, those of the step before, and of this one
  Quad scale;
  float* pairs;

  ExciterPart(const ExciterChannel* const (&c)[2], int first_step, float* frames)
      : channels(c),
        start(first_step),
        bias(both(c, &ExciterChannel::bias)),
        drive(both(c, &ExciterChannel::drive)),
        wet(both(c, &ExciterChannel::wet)),
        dry(both(c, &ExciterChannel::dry)),
        clipping{},
        clipped{},
        before{},
        latest{},
        scale(both(c, &ExciterChannel::scale)),
        pairs(frames) {}

  int last_step() const { return start + kLag; }

  template <int L>
  void place(Lanes<L>& lanes, int at) const {
    for (int c = 0; c < 2; ++c) {
      lanes.place(at + c, start, *channels[c]->pre, *channels[c]->pre_history);
      lanes.place(at + 2 + c, start + kLag, *channels[c]->post, *channels[c]->post_history);
    }
  }
  // The curve is 1 at 1 and -1 at -1, so limiting its argument limits it.
  INLINED static Quad clip(Quad u) {
    const Quad v = larger(smaller(u, Quad{} + 1.0f), Quad{} - 1.0f);  // NaN is 1
    return v * fused(-v, 0.5f * v, Quad{} + 1.5f);
  }
  template <bool kEdge>
  INLINED void feed(const Quad* y, Quad* x, int step, int) {
    const float* const in = pairs + 2 * (step - start);
    if constexpr (kShortPasses) {
      before = latest, latest = load<Quad>(in);
      x[0] = pairs_of(latest, clipped), x[1] = last_pairs_of(latest, clipped);
    } else {
      x[0] = pairs_of(quad_pairs(in), clipped);
      clipped = clipping;
      clipping = clip((y[0] + bias) * drive);
    }
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int step, int) {
    const int t = step - start - kLag;
    if constexpr (kShortPasses) clipped = clip((pairs_of(y[0], y[1]) + bias) * drive);
    if (kEdge && t < 0) return;
    float* const out = pairs + 2 * t;
    if constexpr (kShortPasses)
      store(out, scale * fused(wet, last_pairs_of(y[0], y[1]), dry * before));
    else
      store_last_pair(out, scale * fused(wet, y[0], dry * quad_pairs(out)));
  }
  INLINED void finish(int) const {}
};

void in_lanes(const ExciterJob& job, int n, lanes::Scratch& scratch) {
  if (job.count < 1) return;
  in_passes(job, true, 1.0f / job.channels[0].scale, n, scratch,
            [](const ExciterChannel* const(&channels)[2], float* pairs, int length) {
              run_part(ExciterPart(channels, 0, pairs), length);
            });
}

#endif
}  // namespace
}  // namespace TARGET
#endif
