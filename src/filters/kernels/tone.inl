// The tone effects: filters with something between them, one step a frame, both channels in each pair of lanes.

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

INLINED Quad pairs_of(Quad a, Quad b) {
  return __builtin_shufflevector(a, b, 0, 1, 4, 5);
}  // a's first, b's first
INLINED Quad last_and_first(Quad a, Quad b) {
  return __builtin_shufflevector(a, b, 2, 3, 4, 5);
}  // a's last, b's first

// Both sections of an edge in the lanes of channel c; null places nothing but the lag.
template <int L>
void place_pair(Image<L>& image, int lane1, int lane2, int c, const BiquadPair& edge, int lag) {
  image.place(lane1 + c, lag, edge.coeffs[0], edge.history[0]);
  image.place(lane2 + c, lag + 1, edge.coeffs[1], edge.history[1]);
}
template <int L>
void take_pair(const Image<L>& image, int lane1, int lane2, int c, BiquadPair& edge) {
  image.take(lane1 + c, edge.history[0]);
  image.take(lane2 + c, edge.history[1]);
}

// ---- Bass enhancer ---------------------------------------------------------------------------------
//
//   Q0 | low-pass 1 | harmonic low 1 |  read the frame, and z as the DC blocker left it
//   Q1 | low-pass 2 | harmonic low 2 |  reads Q0
//   Q2 | harmonic high 1 | floor 1   |  read harmonic low 2, and harmonic high 2
//   Q3 | harmonic high 2 | floor 2   |  reads Q2
//   Q4 | high-pass 1 | high-pass 2   |  started so late that it comes out with the harmonics
//
// Without the floor filter, the high-pass has its lanes. The shaper takes low-pass 2 as it was after the step before; its
// square root is long, so the DC blocker takes what the shaper made kShaping steps ago.
template <bool kFloor>
struct BassWave {
  static constexpr int kShaping = 3, kDcLag = 2 + kShaping;
  static constexpr int kLag = kDcLag + (kFloor ? 6 : 4);
  static constexpr int kLanesUsed = kFloor ? 20 : 16;
  static constexpr int kHigh1 = kFloor ? 16 : 10, kHigh2 = kFloor ? 18 : 14;
  QuadSections<4> sections;
  Sections<Quad, 1> high;  // with the floor filter only
  Quad P, Q, minus_R, S, T, U, gain, dc_coef, amount;
  Quad shaped[kShaping];  // oldest first
  Quad z, prev_in, prev_out;
  Quad scale, scale_after;  // back to full scale, and to that of what comes after
  float* pairs;

  BassWave(const Image<20>& image, const BassChannel* const (&c)[2], float after, float* frames)
      : sections(image),
        high(image, 16),
        P(both(c, &BassChannel::pos_offset)),
        Q(both(c, &BassChannel::pos_bias)),
        minus_R(-both(c, &BassChannel::neg_offset)),
        S(both(c, &BassChannel::neg_bias)),
        T(both(c, &BassChannel::pos_const)),
        U(both(c, &BassChannel::neg_const)),
        gain(both(c, &BassChannel::shaper_gain)),
        dc_coef(both(c, &BassChannel::dc_coef)),
        amount(both(c, &BassChannel::amount)),
        shaped{},
        z{},
        prev_in{*c[0]->dc_prev_in, *c[1]->dc_prev_in},
        prev_out{*c[0]->dc_prev_out, *c[1]->dc_prev_out},
        scale(both(c, &BassChannel::scale)),
        scale_after(Quad{} + after),
        pairs(frames) {}

  INLINED Quad shape(Quad l) const {
    const auto positive = l >= 0.0f;
    const Quad v =
        magnitude(((positive ? P : minus_R) - l) * l + (positive ? T : U));  // U - (l + R) l below 0
    const Quad guarded = v > kTiny ? root(v) : Quad{};
    return (positive ? gain : -gain) * (guarded + (positive ? Q : S));
  }

  template <bool kEdge>
  INLINED void step(int t, int n) {
    const Quad now = quad_pairs(pairs + 2 * t), before = quad_pairs(pairs + 2 * (t - (kLag - 1)));
    const Quad y0 = sections.y(0), y1 = sections.y(1), y2 = sections.y(2), y3 = sections.y(3);
    const Quad x[4] = {pairs_of(now, z), y0, last_and_first(y1, kFloor ? y3 : before), y2};
    sections.template step<kEdge>(x, t, n);
    if constexpr (kFloor) high.step<kEdge>(0, pairs_of(before, high.y[0]), t, n);

    const Quad dc_in = shaped[0];
    for (int i = 0; i + 1 < kShaping; ++i) shaped[i] = shaped[i + 1];
    shaped[kShaping - 1] = shape(y1);
    z = ((dc_in - prev_in) + prev_out) * dc_coef;
    const Quad next_in = magnitude(dc_in) > kTiny ? dc_in : Quad{};
    const Quad next_out = magnitude(z) > kTiny ? z : Quad{};
    if constexpr (kEdge) {
      const auto on = busy(MaskOf<Quad>{} + kDcLag, t, n);
      prev_in = on ? next_in : prev_in, prev_out = on ? next_out : prev_out;
    } else {
      prev_in = next_in, prev_out = next_out;
    }
    if (kEdge && t < kLag) return;
    const Quad last = sections.y(3);
    const Quad out =
        kFloor ? swap_pairs(fused(last, amount, high.y[0])) : fused(last, amount, swap_pairs(last));
    store_pair(pairs + 2 * (t - kLag), out * scale * scale_after);
  }
};

// Calls visit(edge, lane of section 1, lane of section 2, lag) for each edge of a channel.
template <bool kFloor, class Visit>
void for_each_bass_edge(const BassChannel& c, Visit visit) {
  using Wave = BassWave<kFloor>;
  visit(*c.bass_lowpass, 0, 4, 0);
  visit(*c.harmonic_lowpass, 2, 6, Wave::kDcLag + 1);
  visit(*c.harmonic_highpass, 8, 12, Wave::kDcLag + 3);
  if (kFloor) visit(*c.floor_highpass, 10, 14, Wave::kDcLag + 5);
  visit(*c.main_highpass, Wave::kHigh1, Wave::kHigh2, Wave::kLag - 1);
}

// Both channels into the lanes and back.
template <bool kFloor>
struct BassLanes {
  const BassChannel* const* channels;
  Image<20> image{};

  BassWave<kFloor> wave(float scale_after, Frames& frames) {
    for (int c = 0; c < 2; ++c)
      for_each_bass_edge<kFloor>(*channels[c], [&](const BiquadPair& edge, int lane1, int lane2, int lag) {
        place_pair(image, lane1, lane2, c, edge, lag);
      });
    return {image, {channels[0], channels[1]}, scale_after, frames.pairs};
  }
  void take(const BassWave<kFloor>& wave) {
    wave.sections.keep(image);
    if (kFloor) wave.high.keep(image, 16);
    for (int c = 1; c >= 0; --c) {
      for_each_bass_edge<kFloor>(*channels[c], [&](BiquadPair& edge, int lane1, int lane2, int) {
        take_pair(image, lane1, lane2, c, edge);
      });
      *channels[c]->dc_prev_in = wave.prev_in[c], *channels[c]->dc_prev_out = wave.prev_out[c];
    }
  }
};

template <bool kFloor>
void bass_wave(const BassChannel* const (&channels)[2], Frames& frames, int n) {
  BassLanes<kFloor> lanes{channels};
  BassWave<kFloor> wave = lanes.wave(1.0f, frames);
  run_wave(wave, wave.kLag, n);
  lanes.take(wave);
}

void bass_lanes(const BassChannel& a, const BassChannel* b, int n) {
  const Stereo<BassChannel> s(a, b);
  Frames frames;
  for (int at = 0; at < n; at += kFrames) {
    const int length = n - at < kFrames ? n - at : kFrames;
    interleave(a.in + at, s.channels[1]->in + at, length, frames, 1.0f / a.scale);  // exact: a power of two
    if (a.floor_highpass)
      bass_wave<true>(s.channels, frames, length);
    else
      bass_wave<false>(s.channels, frames, length);
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
struct ExciterWave {
  static constexpr int kLag = 3;
  Sections<Quad, 1> sections;
  Quad bias, drive, wet, dry;
  Quad clipping, clipped;  // on its way, and done
  Quad scale;
  float* pairs;

  ExciterWave(const Image<4>& image, const ExciterChannel* const (&c)[2], float* frames)
      : sections(image, 0),
        bias(both(c, &ExciterChannel::bias)),
        drive(both(c, &ExciterChannel::drive)),
        wet(both(c, &ExciterChannel::wet)),
        dry(both(c, &ExciterChannel::dry)),
        clipping{},
        clipped{},
        scale(both(c, &ExciterChannel::scale)),
        pairs(frames) {}

  template <bool kEdge>
  INLINED void step(int t, int n) {
    const Quad now = quad_pairs(pairs + 2 * t), before = quad_pairs(pairs + 2 * (t - kLag));
    const Quad u = (sections.y[0] + bias) * drive;
    sections.step<kEdge>(0, pairs_of(now, clipped), t, n);
    clipped = clipping;
    const Quad curve = u * fused(-u, 0.5f * u, Quad{} + 1.5f);
    clipping = u <= 1.0f ? (u >= -1.0f ? curve : Quad{} - 1.0f) : Quad{} + 1.0f;  // NaN is 1
    if (kEdge && t < kLag) return;
    store_pair(pairs + 2 * (t - kLag), swap_pairs(scale * fused(wet, sections.y[0], dry * before)));
  }
};

struct ExciterLanes {
  const ExciterChannel* const* channels;
  Image<4> image{};

  ExciterWave wave(Frames& frames) {
    for (int c = 0; c < 2; ++c) {
      image.place(c, 0, *channels[c]->pre, *channels[c]->pre_history);
      image.place(2 + c, ExciterWave::kLag, *channels[c]->post, *channels[c]->post_history);
    }
    return {image, {channels[0], channels[1]}, frames.pairs};
  }
  void take(const ExciterWave& wave) {
    wave.sections.keep(image, 0);
    for (int c = 1; c >= 0; --c) {
      image.take(c, *channels[c]->pre_history);
      image.take(2 + c, *channels[c]->post_history);
    }
  }
};

void exciter_lanes(const ExciterChannel& a, const ExciterChannel* b, int n) {
  const Stereo<ExciterChannel> s(a, b);
  Frames frames;
  for (int at = 0; at < n; at += kFrames) {
    const int length = n - at < kFrames ? n - at : kFrames;
    interleave(a.in + at, s.channels[1]->in + at, length, frames, 1.0f / a.scale);
    ExciterLanes lanes{s.channels};
    ExciterWave wave = lanes.wave(frames);
    run_wave(wave, wave.kLag, length);
    lanes.take(wave);
    deinterleave(frames, length, a.out + at, b ? b->out + at : nullptr);
  }
}

void lanes_exciter(const ExciterChannel* channels, int count, int n) {
  if (count == 2) return exciter_lanes(channels[0], &channels[1], n);
  for (int ch = 0; ch < count; ++ch) exciter_lanes(channels[ch], nullptr, n);
}

// ---- De-esser --------------------------------------------------------------------------------------
//
//   | detector L R | notch L R |  both read the frame; what they make waits until the block's energy is known
struct DeEsserWave {
  Sections<Quad, 1> sections;
  const float* pairs;
  float *detected, *notched;  // in pairs

  template <bool kEdge>
  INLINED void step(int t, int n) {
    sections.step<kEdge>(0, quad_pairs(pairs + 2 * t), t, n);
    if (kEdge && (t < 0 || t >= n)) return;
    store_pair(detected + 2 * t, sections.y[0]);
    store_pair(notched + 2 * t, swap_pairs(sections.y[0]));
  }
};

struct DeEsserLanes {
  const DeEsserChannel* const* channels;
  Image<4> image{};
  float detected[2 * kFrames], notched[2 * kFrames];

  DeEsserWave wave(const Frames& frames) {
    for (int c = 0; c < 2; ++c) {
      image.place(c, 0, *channels[c]->detector, *channels[c]->detector_history);
      image.place(2 + c, 0, *channels[c]->notch, *channels[c]->notch_history);
    }
    return {Sections<Quad, 1>(image, 0), frames.pairs, detected, notched};
  }
  void take(const DeEsserWave& wave) {
    wave.sections.keep(image, 0);
    for (int c = 1; c >= 0; --c) {
      image.take(c, *channels[c]->detector_history);
      image.take(2 + c, *channels[c]->notch_history);
    }
  }
};

// The gains that the block's energy asks for, and the cross-fade of the frames that went through the wave.
void cross_fade_lanes(const DeEsserLanes& lanes, const Frames& frames, int count, int n,
                      float (*target)(void*, int, float), void* owner) {
  float energy = 0.0f;  // not reset between channels
  for (int c = 0; c < count; ++c) {
    const DeEsserChannel& channel = *lanes.channels[c];
    float one[kFrames], gains[kFrames];
    for (int i = 0; i < n; ++i) one[i] = lanes.detected[2 * i + c];
    energy = lanes_add_squares(energy, one, static_cast<float>(n), n);
    const float step = (target(owner, c, energy) - channel.gain) * channel.inv_frame_length;
    lanes_ramp(channel.gain, step, gains, n);
    for (int i = 0; i < n; ++i) {
      const float x = frames.pairs[2 * i + c], y = lanes.notched[2 * i + c];
      channel.out[i] = x * gains[i] + (1.0f - gains[i]) * y;
    }
  }
}

void lanes_de_esser(const DeEsserChannel* channels, int count, int n, float (*target)(void*, int, float),
                    void* owner) {
  if (n < 1 || n > kFrames || count < 1) return plain_de_esser(channels, count, n, target, owner);
  const Stereo<DeEsserChannel> s(channels[0], count == 2 ? &channels[1] : nullptr);
  Frames frames;
  interleave(s.channels[0]->in, s.channels[1]->in, n, frames);
  DeEsserLanes lanes;
  lanes.channels = s.channels;
  DeEsserWave wave = lanes.wave(frames);
  run_wave(wave, 0, n);
  lanes.take(wave);
  cross_fade_lanes(lanes, frames, count, n, target, owner);
}

// ---- Loudness meter --------------------------------------------------------------------------------
//
//   | shelf L R | high-pass L R |  read the frame, and the shelf
struct MeterWave {
  static constexpr int kLag = 1;
  Sections<Quad, 1> sections;
  float* pairs;

  template <bool kEdge>
  INLINED void step(int t, int n) {
    sections.step<kEdge>(0, pairs_of(quad_pairs(pairs + 2 * t), sections.y[0]), t, n);
    if (kEdge && t < kLag) return;
    const Quad y = sections.y[0];
    store_pair(pairs + 2 * (t - kLag), swap_pairs(y * y));
  }
};

// `squares` into the ring from its position on.
float slide_ring(float sum, MeterRing& ring, const float* squares, int n) {
  while (n > 0) {
    const int room = ring.size - ring.position, length = n < room ? n : room;
    sum = slide_in_order(sum, ring.squares + ring.position, squares, length);
    squares += length, n -= length;
    ring.position = length < room ? ring.position + length : 0;
  }
  return sum;
}

struct MeterLanes {
  const MeterChannel* const* channels;
  Image<4> image{};

  MeterWave wave(Frames& frames) {
    for (int c = 0; c < 2; ++c) {
      image.place(c, 0, *channels[c]->shelf, *channels[c]->shelf_history);
      image.place(2 + c, MeterWave::kLag, *channels[c]->high_pass, *channels[c]->high_pass_history);
    }
    return {Sections<Quad, 1>(image, 0), frames.pairs};
  }
  void take(const MeterWave& wave) {
    wave.sections.keep(image, 0);
    for (int c = 1; c >= 0; --c) {
      image.take(c, *channels[c]->shelf_history);
      image.take(2 + c, *channels[c]->high_pass_history);
    }
  }
};

// The squares that the wave left in `frames`, one channel after the other.
void slide_channels(const MeterChannel& a, const MeterChannel* b, const Frames& frames, int n,
                    MeterRing& ring) {
  float squares[2][kFrames];
  deinterleave(frames, n, squares[0], squares[1]);
  *a.sum = slide_ring(*a.sum, ring, squares[0], n);
  if (b) *b->sum = slide_ring(*b->sum, ring, squares[1], n);
}

void meter_lanes(const MeterChannel& a, const MeterChannel* b, int n, MeterRing& ring) {
  const Stereo<MeterChannel> s(a, b);
  Frames frames;
  interleave(a.in, s.channels[1]->in, n, frames, 1.0f / a.scale);
  MeterLanes lanes{s.channels};
  MeterWave wave = lanes.wave(frames);
  run_wave(wave, wave.kLag, n);
  lanes.take(wave);
  slide_channels(a, b, frames, n, ring);
}

void lanes_meter(const MeterChannel* channels, int count, int n, MeterRing& ring) {
  if (n < 1 || n > kFrames) return plain_meter(channels, count, n, ring);
  for (int ch = 0; ch < count; ch += 2)
    meter_lanes(channels[ch], ch + 1 < count ? &channels[ch + 1] : nullptr, n, ring);
}

// ---- All of them in one loop -----------------------------------------------------------------------
template <bool kFloor>
void tone_wave(const BassChannel* const (&bass)[2], const ExciterChannel* const (&exciter)[2],
               DeEsserLanes& de_esser, Frames& frames, MeterLanes* meter, Frames& metered, int n) {
  using Bass = BassWave<kFloor>;
  BassLanes<kFloor> first{bass};
  ExciterLanes second{exciter};
  const float scale_of_exciter = 1.0f / exciter[0]->scale;
  auto wave = joined(joined(first.wave(scale_of_exciter, frames), Bass::kLag, second.wave(frames)),
                     Bass::kLag + 1 + ExciterWave::kLag, de_esser.wave(frames));
  if (meter) {  // beside the others, not after them
    auto all = joined(meter->wave(metered), MeterWave::kLag, wave);
    all.behind = 0;
    run_wave(all, wave.behind, n);
    meter->take(all.first);
    wave = all.second;
  } else {
    run_wave(wave, wave.behind, n);
  }
  first.take(wave.first.first);
  second.take(wave.first.second);
  de_esser.take(wave.second);
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
  const BassChannel* const first[2] = {&bass[0], &bass[last]};
  const ExciterChannel* const second[2] = {&exciter[0], &exciter[last]};
  const DeEsserChannel* const third[2] = {&de_esser[0], &de_esser[last]};
  const MeterChannel* const beside[2] = {meter, meter + (meter ? last : 0)};
  Frames frames, metered;
  interleave(first[0]->in, first[1]->in, n, frames, 1.0f / bass[0].scale);
  MeterLanes meter_lanes{beside};
  if (meter) interleave(beside[0]->in, beside[1]->in, n, metered, 1.0f / meter->scale);
  DeEsserLanes lanes;
  lanes.channels = third;
  if (bass[0].floor_highpass)
    tone_wave<true>(first, second, lanes, frames, meter ? &meter_lanes : nullptr, metered, n);
  else
    tone_wave<false>(first, second, lanes, frames, meter ? &meter_lanes : nullptr, metered, n);
  if (meter) slide_channels(meter[0], count == 2 ? &meter[1] : nullptr, metered, n, *ring);
  cross_fade_lanes(lanes, frames, count, n, target, owner);
}
