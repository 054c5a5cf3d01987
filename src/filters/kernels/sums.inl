// Serial sums of floats, many terms at once, with every rounding where the serial sum has it.
//
// While a sum stays within one binade [2^e, 2^(e+1)), it is a multiple of u = 2^(e-23), and adding t rounds to
// sum + (t rounded to a multiple of u). So the rounded terms can be formed side by side and added in any order, exactly.
// Only a t halfway between two multiples is different: its rounding depends on the sum. Where a group of terms leaves
// the binade, or holds such a t, it is added one by one.

// Terms tried together: a sum of few terms leaves its binade often, a sliding one seldom.
constexpr int kGroup = 16, kStretch = 64;

union Bits {
  float value;
  int bits;
};
float with_bits(int bits) {
  Bits b;
  b.bits = bits;
  return b.value;
}
int bits_of(float value) {
  Bits b;
  b.value = value;
  return b.bits;
}
// Sign and exponent.
int binade(float x) { return bits_of(x) & ~0x7fffff; }
// Far enough from denormals and infinities for all that is computed in a binade.
bool is_ordinary(float x) { return bits_of(x) >= 0x20000000 && bits_of(x) < 0x70000000; }

float sum_of_lanes(Vec v) {
  Quad q = quad_of(&v, 0);
  for (int i = 1; i < kLanes / 4; ++i) q += quad_of(&v, i);
  q += swap_pairs(q);
  return q[0] + q[1];
}

// The binade that a sum is in. It changes seldom, so that a group of terms does not wait for the sum before it.
struct Binade {
  float floor = 0.0f, end = 0.0f;  // 2^e and 2^(e+1), or nothing

  void enter(float sum) {
    floor = is_ordinary(sum) ? with_bits(binade(sum)) : 0.0f;
    end = 2.0f * floor;
  }
};

// Terms as they are rounded in a binade, added up.
template <int N>
struct Rounded {
  Mask fine = Mask{} - 1;  // none negative, NaN, 2^e or more, or halfway
  float sum;

  Rounded(const float* terms, float floor) {
    const Vec half_unit = Vec{} + floor * 0x1p-24f;
    Vec total[2]{};
    for (int v = 0; v < N / kLanes; ++v) {
      const Vec t = load<Vec>(terms + v * kLanes);
      const Vec rounded = (t + floor) - floor;
      fine &= (t >= 0.0f) & (t < floor) & (magnitude(t - rounded) < half_unit);
      total[v % 2] += rounded;
    }
    sum = sum_of_lanes(total[0] + total[1]);
  }
};

// sum + terms[0] + terms[1] + ...
float add_in_order(float sum, const float* terms, int n) {
  Binade in;
  in.enter(sum);
  int i = 0;
  for (; i + kGroup <= n; i += kGroup) {
    const Rounded<kGroup> group(terms + i, in.floor);
    const float next = sum + group.sum;
    if (!any(~group.fine) && next < in.end) {
      sum = next;
      continue;
    }
    for (int k = i; k < i + kGroup; ++k) sum += terms[k];
    in.enter(sum);
  }
  for (; i < n; ++i) sum += terms[i];
  return sum;
}

// Each ring[i] out of the sum and fresh[i] into it and into the ring.
float slide_in_order(float sum, float* ring, const float* fresh, int n) {
  Binade in;
  in.enter(sum);
  int i = 0;
  for (; i + kStretch <= n; i += kStretch) {
    const Rounded<kStretch> leaving(ring + i, in.floor), entering(fresh + i, in.floor);
    // In whatever order: never below the binade, never above it.
    if (!any(~(leaving.fine & entering.fine)) && sum - leaving.sum > in.floor &&
        sum + entering.sum < in.end) {
      sum = (sum - leaving.sum) + entering.sum;
      __builtin_memcpy(ring + i, fresh + i, kStretch * sizeof(float));
      continue;
    }
    for (int k = i; k < i + kStretch; ++k) {
      sum -= ring[k];
      ring[k] = fresh[k];
      sum += ring[k];
    }
    in.enter(sum);
  }
  for (; i < n; ++i) {
    sum -= ring[i];
    ring[i] = fresh[i];
    sum += ring[i];
  }
  return sum;
}

void squares_over(const float* x, float divisor, float* squares, int n) {
  if ((bits_of(divisor) & 0x7fffff) == 0 &&
      is_ordinary(divisor)) {  // a power of two: multiplying is exact, and faster
    const float factor = 1.0f / divisor;
    for (int i = 0; i < n; ++i) squares[i] = x[i] * x[i] * factor;
  } else {
    for (int i = 0; i < n; ++i) squares[i] = x[i] * x[i] / divisor;
  }
}

float lanes_add_squares(float sum, const float* x, float divisor, int n) {
  if (n <= 8 * kGroup) return plain_add_squares(sum, x, divisor, n);  // few terms fall into one binade
  float terms[kFrames];
  for (int at = 0; at < n; at += kFrames) {
    const int length = n - at < kFrames ? n - at : kFrames;
    squares_over(x + at, divisor, terms, length);
    sum = add_in_order(sum, terms, length);
  }
  return sum;
}

Vec larger(Vec a, Vec b) { return a > b ? a : b; }  // b where a is NaN

float lanes_peak(float peak, const float* x, int n) {
  Vec most[2] = {Vec{} + peak, Vec{} + peak};
  int i = 0;
  for (; i + 2 * kLanes <= n; i += 2 * kLanes)
    for (int v = 0; v < 2; ++v) most[v] = larger(magnitude(load<Vec>(x + i + v * kLanes)), most[v]);
  const Vec both = larger(most[0], most[1]);
  Quad four = quad_of(&both, 0);
  for (int q = 1; q < kLanes / 4; ++q) four = four > quad_of(&both, q) ? four : quad_of(&both, q);
  const Quad two = four > swap_pairs(four) ? four : swap_pairs(four);
  return plain_peak(two[0] > two[1] ? two[0] : two[1], x + i, n - i);
}

// Within a binade every addition of one step but the first moves the gain by the same amount: the first has settled
// whether ties go up or down. A falling gain leaves the binade on its lowest value: what rounds to that from above may
// round to less from below, where floats are denser.
float lanes_ramp(float gain, float step, float* gains, int n) {
  Vec counts;
  for (int lane = 0; lane < kLanes; ++lane) counts[lane] = static_cast<float>(lane);
  while (n >= 3) {
    gains[0] = gain + step;
    const float move = (gains[0] + step) - gains[0];
    int length = n < kFrames ? n : kFrames;  // how many gains the straight line gives
    const auto on_line = [&](int i) { return fused(static_cast<float>(i), move, gains[0]); };
    if (!is_ordinary(gains[0]) || binade(gain) != binade(gains[0])) length = 1;
    const auto is_inside = [&](float g) {
      return binade(g) == binade(gains[0]) && (move >= 0.0f || bits_of(g) != binade(g));
    };
    while (length > 1 && !is_inside(on_line(length - 1))) length /= 2;
    if (length < 3) {  // about to leave the binade, or where none of this holds
      gain = plain_ramp(gain, step, gains, length = n < 8 ? n : 8);
    } else {
      const Vec first = Vec{} + gains[0], moves = Vec{} + move;
      int i = 0;
      for (; i + kLanes <= length; i += kLanes)
        store(gains + i, fused(counts + static_cast<float>(i), moves, first));
      for (; i < length; ++i) gains[i] = on_line(i);
      gain = gains[length - 1];
    }
    gains += length, n -= length;
  }
  return plain_ramp(gain, step, gains, n);
}
