// What all lane kernels share: a block of stereo as interleaved frames, and sections in lanes.
//
// A cascade has a serial dependency per section, but different sections at different frames don't depend on each
// other. So section k works on frame t - k: all sections advance in one step, each on what the section before it made
// in the step before. What takes longer than a step lies several lanes' steps back: a register as a whole waits for the
// slowest of its lanes' inputs. A lane whose frame lies outside the block is frozen: it computes like the others, and its
// history stays as it was.

// State that lives in registers through a loop does so only where everything the loop calls is part of it.
#define INLINED __attribute__((always_inline)) inline

constexpr int kFrames = 1024;  // in one pass: longer blocks are cut
constexpr int kTail = 32;      // frames of zeros behind a block, for the steps in which the last lanes finish

constexpr int kHead = 32;  // frames before it, for lanes that are started late

struct Frames {
  float head[2 * kHead];
  float pairs[2 * (kFrames + kTail)];
};

// Frames around a block of n, which are read by lanes that are not busy yet or no more.
void clear_edges(Frames& frames, int n) {
  for (float& before : frames.head) before = 0.0f;
  for (int i = 2 * n; i < 2 * (n + kTail); ++i) frames.pairs[i] = 0.0f;
}

// A mono channel stands in for the missing one: what its lanes compute is dropped.
void interleave(const float* in0, const float* in1, int n, Frames& frames, float scale = 1.0f) {
  float* const pairs = frames.pairs;
  for (int i = 0; i < n; ++i) pairs[2 * i] = in0[i] * scale, pairs[2 * i + 1] = in1[i] * scale;
  clear_edges(frames, n);
}

void deinterleave(const Frames& frames, int n, float* out0, float* out1) {
  const float* const pairs = frames.pairs;
  if (out1)
    for (int i = 0; i < n; ++i) out0[i] = pairs[2 * i], out1[i] = pairs[2 * i + 1];
  else
    for (int i = 0; i < n; ++i) out0[i] = pairs[2 * i];
}

template <class V>
using MaskOf = decltype(V{} < V{});

template <class V>
V load(const void* p) {
  V v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}
template <class V>
void store(float* p, V v) {
  __builtin_memcpy(p, &v, sizeof v);
}

template <class V>
V magnitude(V x) {
  return (V)((MaskOf<V>)x & 0x7fffffff);
}

// Whether the lanes, each `lag` frames behind step t, have a frame of the block before them.
template <class M>
M busy(M lag, int t, int n) {
  const M frame = t - lag;
  return (frame >= 0) & (frame < n);
}

// Sections lane by lane, in memory; lanes that are not placed answer 0 to anything finite.
template <int L>
struct Image {
  float b0[L], b1[L], b2[L], a1[L], a2[L];
  float s1[L], s2[L];
  int lag[L];

  void place(int lane, int frames_behind, const BiquadCoeffs& c, const BiquadHistory& h) {
    b0[lane] = c.b0, b1[lane] = c.b1, b2[lane] = c.b2, a1[lane] = c.a1, a2[lane] = c.a2;
    s1[lane] = h.s1, s2[lane] = h.s2;
    lag[lane] = frames_behind;
  }
  void take(int lane, BiquadHistory& h) const { h = {s1[lane], s2[lane]}; }
};

// R registers of sections.
template <class V, int R>
struct Sections {
  static constexpr int kWidth = sizeof(V) / sizeof(float);
  V b0[R], b1[R], b2[R], minus_a1[R], minus_a2[R];
  V s1[R], s2[R];
  V y[R];  // what the last step made
  MaskOf<V> lag[R];

  template <int L>
  Sections(const Image<L>& image, int first_lane) {
    for (int r = 0; r < R; ++r) {
      const int at = first_lane + r * kWidth;
      b0[r] = load<V>(image.b0 + at), b1[r] = load<V>(image.b1 + at), b2[r] = load<V>(image.b2 + at);
      minus_a1[r] = -load<V>(image.a1 + at), minus_a2[r] = -load<V>(image.a2 + at);
      s1[r] = load<V>(image.s1 + at), s2[r] = load<V>(image.s2 + at);
      y[r] = V{};
      lag[r] = load<MaskOf<V>>(image.lag + at);
    }
  }
  template <int L>
  void keep(Image<L>& image, int first_lane) const {
    for (int r = 0; r < R; ++r)
      store(image.s1 + first_lane + r * kWidth, s1[r]), store(image.s2 + first_lane + r * kWidth, s2[r]);
  }

  // Register r takes x: y = fma(b0, x, s1); s1 = s2 + fma(-a1, y, b1 x); s2 = fma(-a2, y, b2 x).
  template <bool kEdge>
  INLINED void step(int r, V x, int t, int n) {
    y[r] = fused(b0[r], x, s1[r]);
    const V next_s1 = s2[r] + fused(minus_a1[r], y[r], b1[r] * x);
    const V next_s2 = fused(minus_a2[r], y[r], b2[r] * x);
    if constexpr (kEdge) {
      const MaskOf<V> on = busy(lag[r], t, n);
      s1[r] = on ? next_s1 : s1[r], s2[r] = on ? next_s2 : s2[r];
    } else {
      s1[r] = next_s1, s2[r] = next_s2;
    }
  }
};

// Q quads of sections, an even number, in as few registers as the instruction set has.
template <int Q>
struct QuadSections {
  static constexpr int kQuads = kLanes / 4;
  Sections<Vec, Q / kQuads> wide;

  template <int L>
  explicit QuadSections(const Image<L>& image) : wide(image, 0) {}
  template <int L>
  void keep(Image<L>& image) const {
    wide.keep(image, 0);
  }
  INLINED Quad y(int q) const { return quad_of(wide.y, q); }
  template <bool kEdge>
  INLINED void step(const Quad (&x)[Q], int t, int n) {
    for (int r = 0; r < Q / kQuads; ++r) wide.template step<kEdge>(r, from_quads(x + r * kQuads), t, n);
  }
};

// Steps 0 … n + lag - 1 of a wave whose last lane is `lag` frames behind: the first and the last ones with lanes
// frozen, those in between with all lanes busy.
template <class Wave>
INLINED void run_wave(Wave& given, int lag, int n) {
  Wave wave = given;  // a local, and with everything inlined: in registers
  int t = 0;
  for (; t < lag; ++t) wave.template step<true>(t, n);
  for (; t < n; ++t) wave.template step<false>(t, n);
  for (; t < n + lag; ++t) wave.template step<true>(t, n);
  given = wave;
}

// Two waves in one loop, the second a step behind what the first has finished. They hand frames over in memory.
template <class First, class Second>
struct Joined {
  First first;
  Second second;
  int behind;        // steps, from the first to the second
  int lag_of_first;  // in frames

  template <bool kEdge>
  INLINED void step(int t, int n) {
    // Before its first frame and after its last a wave has nothing to do.
    if (!kEdge || t < n + lag_of_first) first.template step<kEdge>(t, n);
    if (!kEdge || t >= behind) second.template step<kEdge>(t - behind, n);
  }
};
template <class First, class Second>
Joined<First, Second> joined(const First& first, int lag_of_first, const Second& second) {
  return {first, second, lag_of_first + 1, lag_of_first};
}
