// The loudness meter: its filters, and the sums of the squares in the window, added up in order beside them.

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
