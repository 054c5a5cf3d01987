// What all lane kernels share: a block of stereo as interleaved frames, and sections in lanes.
//
// A cascade has a serial dependency per section, but different sections at different frames don't depend on each
// other. So section k works on frame t - k: all sections advance in one step, each on what the section before it made
// in the step before. A lane whose frame lies outside the block is frozen: it computes like the others, and its
// history stays as it was.

// State that lives in registers through a loop does so only where everything the loop calls is part of it.
#define INLINED __attribute__((always_inline))

constexpr int kFrames = 1024;  // in one pass: longer blocks are cut
constexpr int kTail = 16;      // frames of zeros behind a block, for the steps in which the last lanes finish

constexpr int kHead = 8;  // frames before it, for lanes that are started late

struct Frames {
  float head[2 * kHead];
  float pairs[2 * (kFrames + kTail)];
};

// A mono channel stands in for the missing one: what its lanes compute is dropped.
void interleave(const float* in0, const float* in1, int n, Frames& frames) {
  float* const pairs = frames.pairs;
  for (int i = 0; i < n; ++i) pairs[2 * i] = in0[i], pairs[2 * i + 1] = in1[i];
  for (int i = 2 * n; i < 2 * (n + kTail); ++i) pairs[i] = 0.0f;
  for (float& before : frames.head) before = 0.0f;
}

void deinterleave(const Frames& frames, int n, float* out0, float* out1) {
  const float* const pairs = frames.pairs;
  if (out1)
    for (int i = 0; i < n; ++i) out0[i] = pairs[2 * i], out1[i] = pairs[2 * i + 1];
  else
    for (int i = 0; i < n; ++i) out0[i] = pairs[2 * i];
}

// Whether the lanes, each `lag` frames behind step t, have a frame of the block before them.
Mask busy(Mask lag, int t, int n) {
  const Mask frame = t - lag;
  return (frame >= 0) & (frame < n);
}

// R registers of sections.
template <int R>
struct Sections {
  Vec b0[R], b1[R], b2[R], minus_a1[R], minus_a2[R];
  Vec s1[R], s2[R];
  Vec y[R];  // what the last step made
  Mask lag[R];

  // Lane by lane, in memory; lanes that are not placed answer 0 to anything finite.
  struct Image {
    float b0[R * kLanes], b1[R * kLanes], b2[R * kLanes], a1[R * kLanes], a2[R * kLanes];
    float s1[R * kLanes], s2[R * kLanes];
    int lag[R * kLanes];

    void place(int lane, int frames_behind, const BiquadCoeffs& c, const BiquadHistory& h) {
      b0[lane] = c.b0, b1[lane] = c.b1, b2[lane] = c.b2, a1[lane] = c.a1, a2[lane] = c.a2;
      s1[lane] = h.s1, s2[lane] = h.s2;
      lag[lane] = frames_behind;
    }
    void take(int lane, BiquadHistory& h) const { h = {s1[lane], s2[lane]}; }
  };

  explicit Sections(const Image& image) {
    for (int r = 0; r < R; ++r) {
      const int at = r * kLanes;
      b0[r] = load(image.b0 + at), b1[r] = load(image.b1 + at), b2[r] = load(image.b2 + at);
      minus_a1[r] = -load(image.a1 + at), minus_a2[r] = -load(image.a2 + at);
      s1[r] = load(image.s1 + at), s2[r] = load(image.s2 + at);
      y[r] = Vec{};
      __builtin_memcpy(&lag[r], image.lag + at, sizeof(Mask));
    }
  }
  void keep(Image& image) const {
    for (int r = 0; r < R; ++r) store(image.s1 + r * kLanes, s1[r]), store(image.s2 + r * kLanes, s2[r]);
  }

  // Register r takes x: y = fma(b0, x, s1); s1 = s2 + fma(-a1, y, b1 x); s2 = fma(-a2, y, b2 x).
  template <bool kEdge>
  INLINED void step(int r, Vec x, int t, int n) {
    y[r] = fused(b0[r], x, s1[r]);
    const Vec next_s1 = s2[r] + fused(minus_a1[r], y[r], b1[r] * x);
    const Vec next_s2 = fused(minus_a2[r], y[r], b2[r] * x);
    if constexpr (kEdge) {
      const Mask on = busy(lag[r], t, n);
      s1[r] = on ? next_s1 : s1[r], s2[r] = on ? next_s2 : s2[r];
    } else {
      s1[r] = next_s1, s2[r] = next_s2;
    }
  }
};

// Steps 0 … n + lag - 1 of a wave whose last lane is `lag` frames behind: the first and the last ones with lanes
// frozen, those in between with all lanes busy.
template <class Wave>
void run_wave(Wave& wave, int lag, int n) {
  int t = 0;
  for (; t < lag; ++t) wave.template step<true>(t, n);
  for (; t < n; ++t) wave.template step<false>(t, n);
  for (; t < n + lag; ++t) wave.template step<true>(t, n);
}
