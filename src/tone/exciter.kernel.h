// The sound of the exciter: high-pass, bias and soft clipper, high-pass, mix.
#pragma once

#include "lanes/block.h"
#include "lanes/parts.h"
#include "lanes/passes.h"
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

// What lies between the filters and after them.
struct ExciterSound {
  Quad bias, drive, wet, dry, scale;

  explicit ExciterSound(const ExciterChannel* const (&c)[2])
      : bias(both(c, &ExciterChannel::bias)),
        drive(both(c, &ExciterChannel::drive)),
        wet(both(c, &ExciterChannel::wet)),
        dry(both(c, &ExciterChannel::dry)),
        scale(both(c, &ExciterChannel::scale)) {}

  // The curve is 1 at 1 and -1 at -1, so limiting its argument limits it.
  INLINED Quad clipped(Quad y) const {
    const Quad u = (y + bias) * drive;
    const Quad v = larger(smaller(u, Quad{} + 1.0f), Quad{} - 1.0f);  // NaN is 1
    return v * fused(-v, 0.5f * v, Quad{} + 1.5f);
  }
  INLINED Quad mixed(Quad y, Quad x) const { return scale * fused(wet, y, dry * x); }
};

// The second filter so many frames behind the first.
template <int L>
void place_exciter(Lanes<L>& lanes, int at, const ExciterChannel* const* channels, int start, int lag) {
  for (int c = 0; c < 2; ++c) {
    lanes.place(at + c, start, *channels[c]->pre, *channels[c]->pre_history);
    lanes.place(at + 2 + c, start + lag, *channels[c]->post, *channels[c]->post_history);
  }
}

//
//   | pre L R | post L R |  read the frame, and what the clipper made two steps before of pre as it was then
struct ExciterPart {
  static constexpr int kQuads = 1, kLag = 3;
  const ExciterChannel* const* channels;
  int start;
  ExciterSound sound;
  Quad clipping, clipped;  // on its way, and done
  float* pairs;

  ExciterPart(const ExciterChannel* const (&c)[2], int first_step, float* frames)
      : channels(c), start(first_step), sound(c), clipping{}, clipped{}, pairs(frames) {}

  int last_step() const { return start + kLag; }

  template <int L>
  void place(Lanes<L>& lanes, int at) const {
    place_exciter(lanes, at, channels, start, kLag);
  }
  template <bool kEdge>
  INLINED void feed(const Quad* y, Quad* x, int step, int) {
    x[0] = pairs_of(quad_pairs(pairs + 2 * (step - start)), clipped);
    clipped = clipping;
    clipping = sound.clipped(y[0]);
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int step, int) {
    const int t = step - start - kLag;
    if (kEdge && t < 0) return;
    store_last_pair(pairs + 2 * t, sound.mixed(y[0], quad_pairs(pairs + 2 * t)));
  }
  INLINED void finish(int) const {}
};

// The same in turns of two frames, which the clipper takes at once.
struct ExciterTurns {
  static constexpr int kLag = 2;
  Sections<Quad, 1> sections;
  ExciterSound sound;
  Quad clipped, before;

  INLINED ExciterTurns(const Lanes<4>& lanes, const ExciterChannel* const (&c)[2])
      : sections(lanes), sound(c), clipped{}, before{} {}

  template <bool kEdge>
  INLINED Quad turn(Quad in, int t, int n) {
    Quad x[2] = {pairs_of(in, clipped), last_pairs_of(in, clipped)};
    two_through<kEdge, 0, 1>(sections, x, t, n);
    clipped = sound.clipped(pairs_of(x[0], x[1]));
    const Quad out = sound.mixed(last_pairs_of(x[0], x[1]), before);
    before = in;
    return out;
  }
};

struct ExciterPass {
  ExciterTurns exciter;
  float* pairs;

  template <bool kEdge>
  INLINED void turn(int t, int n) {
    const Quad out = exciter.turn<kEdge>(load<Quad>(pairs + 2 * t), t, n);
    if (!kEdge || t >= 2) store(pairs + 2 * (t - 2), out);
  }
};

void run_exciter(const ExciterChannel* const (&channels)[2], float* pairs, int n) {
  if constexpr (kShortPasses) {
    Lanes<4> lanes;
    place_exciter(lanes, 0, channels, 0, ExciterTurns::kLag);
    ExciterPass pass{{lanes, channels}, pairs};
    run_pass<ExciterTurns::kLag>(pass, n);
    pass.exciter.sections.keep(lanes);
  } else {
    run_part(ExciterPart(channels, 0, pairs), n);
  }
}

void in_lanes(const ExciterJob& job, int n, lanes::Scratch& scratch) {
  if (job.count < 1) return;
  in_passes(job, true, 1.0f / job.channels[0].scale, n, scratch, run_exciter);
}

#endif
}  // namespace
}  // namespace TARGET
#endif
