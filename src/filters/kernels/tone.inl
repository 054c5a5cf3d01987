// The tone effects: filters with something between them, one step a frame, both channels in each pair of lanes.

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
