// Effects that share a loop: one step costs what all its lanes need, but waits only once for the latency of a section.

// ---- Tone effects, and the meter beside them -------------------------------------------------------
// One block of the tone effects that are there, one after another. The frames are in units of the first one's full scale.
struct ToneBlock {
  const BassChannel* bass[2];
  const ExciterChannel* exciter[2];
  const DeEsserChannel* de_esser[2];
  Frames frames;
  DeEsserFrames made;
  int n;

  // What comes after the bass enhancer: its unit.
  float after_bass() const { return exciter[0] ? 1.0f / exciter[0]->scale : 1.0f; }

  template <class Bass>
  Parts<Bass, ExciterPart> bass_and_exciter() {
    return {Bass(bass, 0, after_bass(), frames), ExciterPart(exciter, Bass::kLag + 1, frames)};
  }
  DeEsserPart de_esser_after(int lag) { return DeEsserPart(de_esser, lag + 1, n, frames, made); }

  template <bool kFloor>
  void run_from_bass(MeterFrames* meter) {
    using Bass = BassPart<kFloor>;
    constexpr int kBassLag = Bass::kLag, kBothLag = kBassLag + 1 + ExciterPart::kLag;
    if (!de_esser[0]) return run_part(bass_and_exciter<Bass>(), n);
    if (!exciter[0])
      return run_part(Parts<Bass, DeEsserPart>{Bass(bass, 0, after_bass(), frames), de_esser_after(kBassLag)},
                      n);
    using All = Parts<Parts<Bass, ExciterPart>, DeEsserPart>;
    const All all{bass_and_exciter<Bass>(), de_esser_after(kBothLag)};
    if (meter)
      run_part(Parts<All, MeterPart>{all, MeterPart(*meter)}, n);
    else
      run_part(all, n);
  }
  void run(MeterFrames* meter) {  // which there is only beside all three
    if (bass[0]) return bass[0]->floor_highpass ? run_from_bass<true>(meter) : run_from_bass<false>(meter);
    run_part(Parts<ExciterPart, DeEsserPart>{ExciterPart(exciter, 0, frames), de_esser_after(ExciterPart::kLag)},
             n);
  }
};

template <class Channel>
void both_channels(const Channel* from, int count, const Channel* (&to)[2]) {
  to[0] = from, to[1] = from ? from + count - 1 : nullptr;
}

void lanes_tone(const BassChannel* bass, const ExciterChannel* exciter, const DeEsserChannel* de_esser,
                int count, int n, float (*target)(void*, int, float), void* owner, const MeterChannel* meter,
                MeterRing* ring) {
  const int last = count - 1;
  const bool fits = n >= 1 && n <= kFrames && count >= 1 &&
                    (!bass || !bass[0].floor_highpass == !bass[last].floor_highpass);
  // Beside two of them it would be one more loop to build.
  if (meter && !(fits && bass && exciter && de_esser && meter_fits(count, n, *ring))) {
    lanes_meter(meter, count, n, *ring);
    meter = nullptr;
  }
  if (!fits) {
    if (bass) lanes_bass(bass, count, n);
    if (exciter) lanes_exciter(exciter, count, n);
    if (de_esser) lanes_de_esser(de_esser, count, n, target, owner);
    return;
  }
  ToneBlock block;
  both_channels(bass, count, block.bass);
  both_channels(exciter, count, block.exciter);
  both_channels(de_esser, count, block.de_esser);
  block.n = n;
  const float* const in0 = bass ? bass[0].in : exciter[0].in;
  const float* const in1 = bass ? bass[last].in : exciter[last].in;
  interleave(in0, in1, n, block.frames, 1.0f / (bass ? bass[0].scale : exciter[0].scale));
  if (meter) {
    MeterFrames beside(meter, count, *ring, n);
    block.run(&beside);
    beside.enter(*ring, count, n);
  } else {
    block.run(nullptr);
  }
  if (de_esser)
    cross_fade_lanes(block.de_esser, block.frames, block.made, count, n, target, owner);
  else
    deinterleave(block.frames, n, exciter[0].out, count == 2 ? exciter[1].out : nullptr);
}

// ---- A cascade and the compressor after it, and the meter beside them ------------------------------
// The second wave is a step behind what the first has finished. They hand frames over in memory.
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
  INLINED void keep(int n) const {
    first.keep(n);
    second.keep(n);
  }
};
template <class First, class Second>
Joined<First, Second> joined(const First& first, int lag_of_first, const Second& second) {
  return {first, second, lag_of_first + 1, lag_of_first};
}

template <class First, class Second>
struct SideBySide {
  First first;
  Second second;

  template <bool kEdge>
  INLINED void step(int t, int n) {
    first.template step<kEdge>(t, n);
    second.template step<kEdge>(t, n);
  }
  INLINED void keep(int n) const {
    first.keep(n);
    second.keep(n);
  }
};

constexpr int kCascadeRegisters = kLanes == 8 ? 3 : 5;  // nine sections, ten, or what else fits

template <bool kFour>
void cascade_multiband_wave(const CascadeChannel* const (&cascade)[2],
                            const MultibandChannel* const (&multiband)[2], const Frames& in, Frames& between,
                            Frames& out, int n, MeterFrames* meter) {
  const CascadeLanes<kCascadeRegisters> first(cascade, 0, cascade[0]->sections);
  const MultibandLanes<kFour> second(multiband);
  auto wave = joined(first.wave(in.pairs, between.pairs), first.lag, second.wave(between.pairs, out.pairs));
  const int lag = wave.behind + kMultibandLag;
  if constexpr (kFour)
    if (meter) {
      const MeterPart part(*meter);
      const PartLanes<MeterPart> lanes(part);
      SideBySide<decltype(wave), PartWave<MeterPart>> both{wave, lanes.wave()};
      return run_wave(both, lag, n);
    }
  run_wave(wave, lag, n);
}

bool cascade_multiband_fits(const CascadeChannel* cascade, const MultibandChannel* multiband, int count, int n) {
  const int lanes = 2 * cascade[0].sections;
  if (n > kFrames || lanes <= (kCascadeRegisters - 1) * kLanes || lanes > kCascadeRegisters * kLanes) return false;
  for (int ch = 0; ch < count; ++ch)
    if (cascade[ch].sections != cascade[0].sections || !multiband_fits(multiband[ch])) return false;
  return true;
}

void lanes_cascade_multiband(const CascadeChannel* cascade, float* const* between,
                             const MultibandChannel* multiband, int count, int n, const MeterChannel* meter,
                             MeterRing* ring) {
  const bool fits = cascade_multiband_fits(cascade, multiband, count, n);
  const MultibandChannel* second[2];
  both_channels(multiband, count, second);
  if (meter && !(fits && four_bands(second) && meter_fits(count, n, *ring))) {
    lanes_meter(meter, count, n, *ring);
    meter = nullptr;
  }
  if (!fits) {
    lanes_cascade(cascade, count, n);
    for (int ch = 0; ch < count; ++ch)
      if (n > 0) __builtin_memcpy(between[ch], cascade[ch].x, static_cast<unsigned long>(n) * sizeof(float));
    return lanes_multiband(multiband, count, n);
  }
  const CascadeChannel* first[2];
  both_channels(cascade, count, first);
  Frames frames, passing;
  interleave(first[0]->x, first[1]->x, n, frames);
  clear_edges(passing, n);
  if (meter) {
    MeterFrames beside(meter, count, *ring, n);
    cascade_multiband_wave<true>(first, second, frames, passing, frames, n, &beside);
    beside.enter(*ring, count, n);
  } else if (four_bands(second)) {
    cascade_multiband_wave<true>(first, second, frames, passing, frames, n, nullptr);
  } else {
    cascade_multiband_wave<false>(first, second, frames, passing, frames, n, nullptr);
  }
  deinterleave(passing, n, between[0], count == 2 ? between[1] : nullptr);
  deinterleave(frames, n, second[0]->out, count == 2 ? second[1]->out : nullptr);
}
