// The tone effects and the loudness meter: filters with something between them, one step a frame, both channels in each
// pair of lanes.
//
// Each is a part of a wave: so many quads of sections, and what lies between them. feed() makes the quads' inputs of
// what they made in the step before, emit() passes on what they made in this one, finish() keeps what the next block
// needs. A part's first frame comes at step `start`; its results come `lag` steps after their frames.

// The two channels' values of a setting, in both pairs.
template <class Channel>
Quad both(const Channel* const (&c)[2], float Channel::*setting) {
  return Quad{c[0]->*setting, c[1]->*setting, c[0]->*setting, c[1]->*setting};
}

template <class Channel>
struct Stereo {
  const Channel* channels[2];
  Stereo(const Channel& a, const Channel* b) : channels{&a, b ? b : &a} {}
};

INLINED Quad last_and_first(Quad a, Quad b) { return __builtin_shufflevector(a, b, 2, 3, 4, 5); }

// Two parts side by side.
template <class First, class Second>
struct Parts {
  static constexpr int kQuads = First::kQuads + Second::kQuads;
  First first;
  Second second;

  template <int L>
  void place(Lanes<L>& lanes, int at) const {
    first.place(lanes, at);
    second.place(lanes, at + 4 * First::kQuads);
  }
  int last_step() const {  // of a block, after its last frame has come
    const int one = first.last_step(), other = second.last_step();
    return one > other ? one : other;
  }
  template <bool kEdge>
  INLINED void feed(const Quad* y, Quad* x, int t, int n) {
    first.template feed<kEdge>(y, x, t, n);
    second.template feed<kEdge>(y + First::kQuads, x + First::kQuads, t, n);
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int t, int n) {
    first.template emit<kEdge>(y, t, n);
    second.template emit<kEdge>(y + First::kQuads, t, n);
  }
  INLINED void finish(int n) const {
    first.finish(n);
    second.finish(n);
  }
};
// A single quad has a register of its own size; more share the widest ones.
template <int Q>
struct Registers {
  static constexpr int kCount = (4 * Q + kLanes - 1) / kLanes;
  typedef Vec Type;
};
template <>
struct Registers<1> {
  static constexpr int kCount = 1;
  typedef Quad Type;
};

template <class Part>
struct PartWave {
  using Register = typename Registers<Part::kQuads>::Type;
  static constexpr int kRegisters = Registers<Part::kQuads>::kCount;
  static constexpr int kWidth = sizeof(Register) / sizeof(float);
  static constexpr int kQuads = kRegisters * kWidth / 4;  // with the idle ones
  Lanes<4 * kQuads>* lanes;
  Sections<Register, kRegisters> sections;
  Part part;

  INLINED void made(Quad* y) const {
    for (int q = 0; q < Part::kQuads; ++q) y[q] = quad_at(sections.y, q);
  }
  template <bool kEdge>
  INLINED void step(int t, int n) {
    Quad x[kQuads], y[Part::kQuads];
    for (int q = Part::kQuads; q < kQuads; ++q) x[q] = Quad{};
    made(y);
    part.template feed<kEdge>(y, x, t, n);
    for (int r = 0; r < kRegisters; ++r)
      sections.template step<kEdge>(r, register_of<Register>(x + r * kWidth / 4), t, n);
    made(y);
    part.template emit<kEdge>(y, t, n);
  }
  INLINED void keep(int n) const {
    sections.keep(*lanes);
    part.finish(n);
  }
};

template <class Part>
__attribute__((noinline)) void run_part(const Part& part, int n) {
  using Wave = PartWave<Part>;
  Lanes<4 * Wave::kQuads> lanes;
  part.place(lanes, 0);
  Wave wave{&lanes, Sections<typename Wave::Register, Wave::kRegisters>(lanes), part};
  constexpr bool kCopied = Part::kQuads > 5;  // several effects
  run_wave<kCopied>(wave, part.last_step(), n);
}

// ---- Bass enhancer ---------------------------------------------------------------------------------
//
//   Q0 | low-pass 1 | harmonic low 1 |  read the frame, and z as the DC blocker left it
//   Q1 | low-pass 2 | harmonic low 2 |  reads Q0
//   Q2 | harmonic high 1 | floor 1   |  read harmonic low 2, and harmonic high 2
//   Q3 | harmonic high 2 | floor 2   |  reads Q2
//   Q4 | high-pass 1 | high-pass 2   |  started so late that it comes out with the harmonics
//
// Without the floor filter, the high-pass has its lanes. The shaper is long and nothing in it recurs, so it takes the
// low-pass for as many frames at once as a register holds, and what it makes waits while the next ones gather.
template <bool kFloor>
struct BassPart {
  static constexpr int kQuads = kFloor ? 5 : 4;
  static constexpr int kChunk = kLanes / 2;  // frames shaped at once
  static constexpr int kDcLag = 2 * kChunk + 1;
  static constexpr int kLag = kDcLag + (kFloor ? 6 : 4);
  const BassChannel* const* channels;
  int start;
  Vec P, Q, minus_R, S, T, U, gain;
  Quad dc_coef, amount;
  Vec lows;     // of the latest frames, the oldest first
  Vec shaped;   // of the latest chunk
  Vec waiting;  // of the DC blocker's inputs, one chunk
  Vec ready;    // the chunk before it, the next frame first
  Quad z, prev_out;
  float last_shaped[kLanes];  // the chunk that holds the block's last frame
  Quad scale, scale_after;    // back to full scale, and to that of what comes after
  float* pairs;

  BassPart(const BassChannel* const (&c)[2], int first_step, float after, Frames& frames)
      : channels(c),
        start(first_step),
        P(every_quad(both(c, &BassChannel::pos_offset))),
        Q(every_quad(both(c, &BassChannel::pos_bias))),
        minus_R(-every_quad(both(c, &BassChannel::neg_offset))),
        S(every_quad(both(c, &BassChannel::neg_bias))),
        T(every_quad(both(c, &BassChannel::pos_const))),
        U(every_quad(both(c, &BassChannel::neg_const))),
        gain(every_quad(both(c, &BassChannel::shaper_gain))),
        dc_coef(both(c, &BassChannel::dc_coef)),
        amount(both(c, &BassChannel::amount)),
        lows{},
        shaped(every_quad(Quad{0.0f, 0.0f, *c[0]->dc_prev_in, *c[1]->dc_prev_in})),
        waiting{},
        ready{},
        z{},
        prev_out{*c[0]->dc_prev_out, *c[1]->dc_prev_out},
        last_shaped{},
        scale(both(c, &BassChannel::scale)),
        scale_after(Quad{} + after),
        pairs(frames.pairs) {}

  int last_step() const { return start + kLag; }

  template <int L>
  void place(Lanes<L>& lanes, int at) const {
    for (int c = 0; c < 2; ++c) {
      const auto pair = [&](BiquadPair& edge, int lane1, int lane2, int lag) {
        lanes.place(at + lane1 + c, start + lag, edge.coeffs[0], edge.history[0]);
        lanes.place(at + lane2 + c, start + lag + 1, edge.coeffs[1], edge.history[1]);
      };
      const BassChannel& channel = *channels[c];
      pair(*channel.bass_lowpass, 0, 4, 0);
      pair(*channel.harmonic_lowpass, 2, 6, kDcLag + 1);
      pair(*channel.harmonic_highpass, 8, 12, kDcLag + 3);
      if (kFloor) pair(*channel.floor_highpass, 10, 14, kDcLag + 5);
      pair(*channel.main_highpass, kFloor ? 16 : 10, kFloor ? 18 : 14, kLag - 1);
    }
  }

  INLINED Vec shape(Vec l) const {
    const auto positive = l >= 0.0f;
    const Vec v =
        magnitude(((positive ? P : minus_R) - l) * l + (positive ? T : U));  // U - (l + R) l below 0
    const Vec guarded = v > kTiny ? root(v) : Vec{};
    return (positive ? gain : -gain) * (guarded + (positive ? Q : S));
  }

  // The chunk of frames whose last has just come out of the low-pass.
  INLINED void shape_chunk() {
    const Vec before = shaped;
    shaped = shape(lows);
    const Vec previous = pair_up(before, shaped);
    ready = waiting;
    waiting = shaped - (magnitude(previous) > kTiny ? previous : Vec{});
  }

  template <bool kEdge>
  INLINED void feed(const Quad* y, Quad* x, int step, int n) {
    const int t = step - start;
    const Quad now = quad_pairs(pairs + 2 * t), before = quad_pairs(pairs + 2 * (t - (kLag - 1)));
    x[0] = pairs_of(now, z), x[1] = y[0];
    x[2] = last_and_first(y[1], kFloor ? y[3] : before), x[3] = y[2];
    if constexpr (kFloor) x[4] = pairs_of(before, y[4]);

    lows = pair_down(lows, y[1]);  // of frame t - 2
    ready = pair_down(ready, Quad{});
    if ((t - 1) % kChunk == 0 && (!kEdge || t > 1)) {
      shape_chunk();
      if (kEdge && (n - 1) / kChunk == (t - 2) / kChunk) store(last_shaped, shaped);
    }
    z = (first_quad(ready) + prev_out) * dc_coef;
    const Quad next_out = magnitude(z) > kTiny ? z : Quad{};
    if constexpr (kEdge)
      prev_out = busy(MaskOf<Quad>{} + kDcLag, t, n) ? next_out : prev_out;
    else
      prev_out = next_out;
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int step, int) {
    const int t = step - start;
    if (kEdge && t < kLag) return;
    const Quad out = fused(y[3], amount, kFloor ? y[4] : swap_pairs(y[3]));
    float* const to = pairs + 2 * (t - kLag);
    if constexpr (kFloor)
      store_last_pair(to, out * scale * scale_after);
    else
      store_pair(to, out * scale * scale_after);
  }
  INLINED void finish(int n) const {
    for (int c = 0; c < 2; ++c) {
      const float last = last_shaped[(n - 1) % kChunk * 2 + c];
      *channels[c]->dc_prev_in = flushed(last);
      *channels[c]->dc_prev_out = prev_out[c];
    }
  }
};

void bass_lanes(const BassChannel& a, const BassChannel* b, int n) {
  const Stereo<BassChannel> s(a, b);
  Frames frames;
  for (int at = 0; at < n; at += kFrames) {
    const int length = n - at < kFrames ? n - at : kFrames;
    interleave(a.in + at, s.channels[1]->in + at, length, frames, 1.0f / a.scale);  // exact: a power of two
    if (a.floor_highpass)
      run_part(BassPart<true>(s.channels, 0, 1.0f, frames), length);
    else
      run_part(BassPart<false>(s.channels, 0, 1.0f, frames), length);
    deinterleave(frames, length, a.out + at, b ? b->out + at : nullptr);
  }
}

void lanes_bass(const BassChannel* channels, int count, int n) {
  if (count == 2 && !channels[0].floor_highpass == !channels[1].floor_highpass)
    return bass_lanes(channels[0], &channels[1], n);
  for (int ch = 0; ch < count; ++ch) bass_lanes(channels[ch], nullptr, n);
}

// ---- Exciter ---------------------------------------------------------------------------------------
//
//   | pre L R | post L R |  read the frame, and what the clipper made two steps before of pre as it was then
struct ExciterPart {
  static constexpr int kQuads = 1, kLag = 3;
  const ExciterChannel* const* channels;
  int start;
  Quad bias, drive, wet, dry;
  Quad clipping, clipped;  // on its way, and done
  Quad scale;
  float* pairs;

  ExciterPart(const ExciterChannel* const (&c)[2], int first_step, Frames& frames)
      : channels(c),
        start(first_step),
        bias(both(c, &ExciterChannel::bias)),
        drive(both(c, &ExciterChannel::drive)),
        wet(both(c, &ExciterChannel::wet)),
        dry(both(c, &ExciterChannel::dry)),
        clipping{},
        clipped{},
        scale(both(c, &ExciterChannel::scale)),
        pairs(frames.pairs) {}

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
    x[0] = pairs_of(quad_pairs(pairs + 2 * (step - start)), clipped);
    clipped = clipping;
    clipping = clip((y[0] + bias) * drive);
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int step, int) {
    const int t = step - start - kLag;
    if (kEdge && t < 0) return;
    store_last_pair(pairs + 2 * t, scale * fused(wet, y[0], dry * quad_pairs(pairs + 2 * t)));
  }
  INLINED void finish(int) const {}
};

void exciter_lanes(const ExciterChannel& a, const ExciterChannel* b, int n) {
  const Stereo<ExciterChannel> s(a, b);
  Frames frames;
  for (int at = 0; at < n; at += kFrames) {
    const int length = n - at < kFrames ? n - at : kFrames;
    interleave(a.in + at, s.channels[1]->in + at, length, frames, 1.0f / a.scale);
    run_part(ExciterPart(s.channels, 0, frames), length);
    deinterleave(frames, length, a.out + at, b ? b->out + at : nullptr);
  }
}

void lanes_exciter(const ExciterChannel* channels, int count, int n) {
  if (count == 2) return exciter_lanes(channels[0], &channels[1], n);
  for (int ch = 0; ch < count; ++ch) exciter_lanes(channels[ch], nullptr, n);
}

// ---- De-esser --------------------------------------------------------------------------------------
// What its filters make of a block, in pairs: what went through the notch waits until the block's energy is known.
struct DeEsserFrames {
  float squares[2 * kFrames], notched[2 * kFrames];  // of the detector's band, divided by the block's length
  float energy;                                      // the first channel's squares, added up
};

//   | detector L R | notch L R |  both read the frame
//
// The first channel's energy is added up in order beside the filters. The second channel's begins where that ends.
struct DeEsserPart {
  static constexpr int kQuads = 1;
  const DeEsserChannel* const* channels;
  int start;
  const float* pairs;
  DeEsserFrames* made;
  Quad energy, length;

  DeEsserPart(const DeEsserChannel* const (&c)[2], int first_step, int n, const Frames& frames,
              DeEsserFrames& results)
      : channels(c),
        start(first_step),
        pairs(frames.pairs),
        made(&results),
        energy{},
        length(Quad{} + static_cast<float>(n)) {}

  int last_step() const { return start; }

  template <int L>
  void place(Lanes<L>& lanes, int at) const {
    for (int c = 0; c < 2; ++c) {
      lanes.place(at + c, start, *channels[c]->detector, *channels[c]->detector_history);
      lanes.place(at + 2 + c, start, *channels[c]->notch, *channels[c]->notch_history);
    }
  }
  template <bool kEdge>
  INLINED void feed(const Quad*, Quad* x, int step, int) const {
    x[0] = quad_pairs(pairs + 2 * (step - start));
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int step, int n) {
    const int t = step - start;
    if (kEdge && (t < 0 || t >= n)) return;
    const Quad square = y[0] * y[0] / length;
    energy += square;
    store_pair(made->squares + 2 * t, square);
    store_last_pair(made->notched + 2 * t, y[0]);
  }
  INLINED void finish(int) const { made->energy = energy[0]; }
};

// The gains that the block's energy asks for, and the cross-fade of the frames that went through the filters.
void cross_fade_lanes(const DeEsserChannel* const (&channels)[2], const Frames& frames,
                      const DeEsserFrames& made, int count, int n, float (*target)(void*, int, float),
                      void* owner) {
  float energy = made.energy;  // not reset between channels
  for (int c = 0; c < count; ++c) {
    const DeEsserChannel& channel = *channels[c];
    float gains[kFrames];
    for (int i = 0; c == 1 && i < n; ++i) energy += made.squares[2 * i + 1];
    const float step = (target(owner, c, energy) - channel.gain) * channel.inv_frame_length;
    lanes_ramp(channel.gain, step, gains, n);
    for (int i = 0; i < n; ++i) {
      const float x = frames.pairs[2 * i + c], y = made.notched[2 * i + c];
      channel.out[i] = x * gains[i] + (1.0f - gains[i]) * y;
    }
  }
}

void lanes_de_esser(const DeEsserChannel* channels, int count, int n, float (*target)(void*, int, float),
                    void* owner) {
  if (n < 1 || n > kFrames || count < 1) return plain_de_esser(channels, count, n, target, owner);
  const Stereo<DeEsserChannel> s(channels[0], count == 2 ? &channels[1] : nullptr);
  Frames frames;
  DeEsserFrames made;
  interleave(s.channels[0]->in, s.channels[1]->in, n, frames);
  run_part(DeEsserPart(s.channels, 0, n, frames, made), n);
  cross_fade_lanes(s.channels, frames, made, count, n, target, owner);
}

// ---- Loudness meter --------------------------------------------------------------------------------
// The next n places of the ring from `position` on: where they are, or in `spare` if they go around the ring's end.
float* ring_places(const MeterRing& ring, int position, int n, float* spare) {
  return position + n <= ring.size ? ring.squares + position : spare;
}
void copy(const float* from, float* to, int n) {
  __builtin_memcpy(to, from, static_cast<unsigned long>(n) * sizeof(float));
}

// One or two channels' block, whose places in the ring don't overlap: the squares that leave the window, and, where the
// frames were, those that enter it.
struct MeterFrames {
  const MeterChannel* channels[2];
  Frames frames, leaving;
  int at[2];                // their places
  float spare[2][kFrames];  // stands in for them around the ring's end

  MeterFrames(const MeterChannel* c, int count, const MeterRing& ring, int n)
      : channels{&c[0], &c[count - 1]} {
    interleave(channels[0]->in, channels[1]->in, n, frames, 1.0f / c->scale);
    const int second = ring.position + (count - 1) * n;
    at[0] = ring.position, at[1] = second < ring.size ? second : second - ring.size;
    const float* places[2];
    for (int i = 0; i < 2; ++i) {
      places[i] = ring_places(ring, at[i], n, spare[i]);
      const int room = ring.size - at[i];
      if (places[i] == spare[i])
        copy(ring.squares + at[i], spare[i], room), copy(ring.squares, spare[i] + room, n - room);
    }
    interleave(places[0], places[1], n, leaving);
  }
  void enter(MeterRing& ring, int count, int n) {
    deinterleave(frames, n, ring_places(ring, at[0], n, spare[0]),
                 count == 2 ? ring_places(ring, at[1], n, spare[1]) : nullptr);
    for (int i = 0; i < count; ++i) {
      const int room = ring.size - at[i];
      if (room < n) copy(spare[i], ring.squares + at[i], room), copy(spare[i] + room, ring.squares, n - room);
    }
    ring.position = (at[count - 1] + n) % ring.size;
  }
};
bool meter_fits(int count, int n, const MeterRing& ring) {
  return n >= 1 && n <= kFrames && ring.size / n >= count;
}

//   | shelf L R | high-pass L R |  read the frame, and the shelf
//
// The sums are short enough to be added up in order beside the filters.
struct MeterPart {
  static constexpr int kQuads = 1, kLag = 1;
  const MeterChannel* const* channels;
  Quad sum;
  float* pairs;
  const float* leaving;

  explicit MeterPart(MeterFrames& block)
      : channels(block.channels),
        sum{0.0f, 0.0f, *channels[0]->sum, *channels[1]->sum},
        pairs(block.frames.pairs),
        leaving(block.leaving.pairs) {}

  int last_step() const { return kLag; }

  template <int L>
  void place(Lanes<L>& lanes, int at) const {
    for (int c = 0; c < 2; ++c) {
      lanes.place(at + c, 0, *channels[c]->shelf, *channels[c]->shelf_history);
      lanes.place(at + 2 + c, kLag, *channels[c]->high_pass, *channels[c]->high_pass_history);
    }
  }
  template <bool kEdge>
  INLINED void feed(const Quad* y, Quad* x, int t, int) const {
    x[0] = pairs_of(quad_pairs(pairs + 2 * t), y[0]);
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int step, int n) {
    const int t = step - kLag;
    if (kEdge && t < 0) return;
    const Quad square = y[0] * y[0];
    const Quad next = (sum - quad_pairs(leaving + 2 * t)) + square;
    sum = kEdge && t >= n ? sum : next;
    store_last_pair(pairs + 2 * t, square);
  }
  INLINED void finish(int) const {
    for (int c = 0; c < 2; ++c) *channels[c]->sum = sum[2 + c];
  }
};

void lanes_meter(const MeterChannel* channels, int count, int n, MeterRing& ring) {
  for (int ch = 0; ch < count; ch += 2) {
    const int here = ch + 1 < count ? 2 : 1;
    if (!meter_fits(here, n, ring)) {
      plain_meter(channels + ch, here, n, ring);
      continue;
    }
    MeterFrames block(channels + ch, here, ring, n);
    run_part(MeterPart(block), n);
    block.enter(ring, here, n);
  }
}

// ---- All of them in one loop -----------------------------------------------------------------------
template <bool kFloor>
void tone_lanes(const BassChannel* const (&bass)[2], const ExciterChannel* const (&exciter)[2],
                const DeEsserChannel* const (&de_esser)[2], Frames& frames, DeEsserFrames& made,
                MeterFrames* meter, int n) {
  using Bass = BassPart<kFloor>;
  using Tone = Parts<Parts<Bass, ExciterPart>, DeEsserPart>;
  constexpr int kExciterStart = Bass::kLag + 1, kDeEsserStart = kExciterStart + ExciterPart::kLag + 1;
  const Tone tone{
      {Bass(bass, 0, 1.0f / exciter[0]->scale, frames), ExciterPart(exciter, kExciterStart, frames)},
      DeEsserPart(de_esser, kDeEsserStart, n, frames, made)};
  if (meter)
    run_part(Parts<Tone, MeterPart>{tone, MeterPart(*meter)}, n);
  else
    run_part(tone, n);
}

void lanes_tone(const BassChannel* bass, const ExciterChannel* exciter, const DeEsserChannel* de_esser,
                int count, int n, float (*target)(void*, int, float), void* owner, const MeterChannel* meter,
                MeterRing* ring) {
  const int last = count - 1;
  if (n < 1 || n > kFrames || count < 1 || !bass[0].floor_highpass != !bass[last].floor_highpass) {
    if (meter) lanes_meter(meter, count, n, *ring);
    lanes_bass(bass, count, n);
    lanes_exciter(exciter, count, n);
    return lanes_de_esser(de_esser, count, n, target, owner);
  }
  if (meter && !meter_fits(count, n, *ring)) {
    plain_meter(meter, count, n, *ring);
    meter = nullptr;
  }
  const BassChannel* const first[2] = {&bass[0], &bass[last]};
  const ExciterChannel* const second[2] = {&exciter[0], &exciter[last]};
  const DeEsserChannel* const third[2] = {&de_esser[0], &de_esser[last]};
  Frames frames;
  DeEsserFrames made;
  interleave(first[0]->in, first[1]->in, n, frames, 1.0f / bass[0].scale);
  const auto run = [&](MeterFrames* beside) {
    if (bass[0].floor_highpass)
      tone_lanes<true>(first, second, third, frames, made, beside, n);
    else
      tone_lanes<false>(first, second, third, frames, made, beside, n);
  };
  if (meter) {
    MeterFrames block(meter, count, *ring, n);
    run(&block);
    block.enter(*ring, count, n);
  } else {
    run(nullptr);
  }
  cross_fade_lanes(third, frames, made, count, n, target, owner);
}
