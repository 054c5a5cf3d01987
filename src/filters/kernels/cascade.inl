// Sections in series: pair k of lanes is section k of both channels.
//
//   register 0   |  s0 L R  |  s1 L R  |  s2 L R  |  s3 L R  |   each pair reads the pair to its left, as it was
//   register 1   |  s4 L R  |  ...                               after the step before; s0 reads the input

constexpr int kMaxSections = 12;  // in one wave; a longer cascade takes several

template <int R>
struct CascadeWave {
  const Lanes<R * kLanes>* lanes;
  Sections<Vec, R> sections;
  const float* pairs;
  float* out;
  int lag;       // of the last section, in frames
  int out_lane;  // of the last section, in the last register

  template <bool kEdge>
  INLINED void step(int t, int n) {
    Vec x[R];
    x[0] = pair_up(every_pair(pairs + 2 * t), sections.y[0]);
    for (int r = 1; r < R; ++r) x[r] = pair_up(sections.y[r - 1], sections.y[r]);
    for (int r = 0; r < R; ++r) sections.template step<kEdge>(r, x[r], t, n);
    if (kEdge && t < lag) return;
    float last[kLanes];
    store(last, sections.y[R - 1]);
    __builtin_memcpy(out + 2 * (t - lag), last + out_lane, 2 * sizeof(float));
  }
  INLINED void keep(int) const { sections.keep(*lanes); }
};

// Sections first … first + count - 1 of both channels.
template <int R>
struct CascadeLanes {
  Lanes<R * kLanes> lanes;
  int lag, out_lane;

  CascadeLanes(const CascadeChannel* const (&channels)[2], int first, int count)
      : lag(count - 1), out_lane(2 * (count - 1) - (R - 1) * kLanes) {
    for (int k = 0; k < count; ++k)
      for (int c = 0; c < 2; ++c)
        lanes.place(2 * k + c, k, channels[c]->coeffs[first + k], channels[c]->history[first + k]);
  }
  CascadeWave<R> wave(const float* in, float* out) const {
    return {&lanes, Sections<Vec, R>(lanes), in, out, lag, out_lane};
  }
};

template <int R>
void cascade_wave(const CascadeChannel* const (&channels)[2], int first, int count, Frames& frames, int n) {
  const CascadeLanes<R> lanes(channels, first, count);
  auto wave = lanes.wave(frames.pairs, frames.pairs);
  run_wave(wave, lanes.lag, n);
}

// Both channels through sections first … first + count - 1.
void cascade_sections(const CascadeChannel* const (&channels)[2], int first, int count, Frames& frames,
                      int n) {
  switch ((2 * count + kLanes - 1) / kLanes) {
    case 1:
      return cascade_wave<1>(channels, first, count, frames, n);
    case 2:
      return cascade_wave<2>(channels, first, count, frames, n);
    case 3:
      return cascade_wave<3>(channels, first, count, frames, n);
#if !defined(__x86_64__)
    case 4:
      return cascade_wave<4>(channels, first, count, frames, n);
    case 5:
      return cascade_wave<5>(channels, first, count, frames, n);
    case 6:
      return cascade_wave<6>(channels, first, count, frames, n);
#endif
    default:
      return;
  }
}

// One or two channels (`b` null for one) with as many sections each.
void cascade_pair(const CascadeChannel& a, const CascadeChannel* b, int n) {
  const CascadeChannel* const channels[2] = {&a, b ? b : &a};
  Frames frames;
  for (int at = 0; at < n; at += kFrames) {
    const int length = n - at < kFrames ? n - at : kFrames;
    interleave(a.x + at, channels[1]->x + at, length, frames);
    for (int first = 0; first < a.sections; first += kMaxSections)
      cascade_sections(channels, first, a.sections - first < kMaxSections ? a.sections - first : kMaxSections,
                       frames, length);
    deinterleave(frames, length, a.x + at, b ? b->x + at : nullptr);
  }
}

// Neighbours with equally many sections go in pairs.
void lanes_cascade(const CascadeChannel* channels, int count, int n) {
  for (int ch = 0; ch < count;) {
    const bool paired = ch + 1 < count && channels[ch].sections == channels[ch + 1].sections;
    if (channels[ch].sections > 0) cascade_pair(channels[ch], paired ? &channels[ch + 1] : nullptr, n);
    ch += paired ? 2 : 1;
  }
}
