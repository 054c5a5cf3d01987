// Programme loudness after EBU R 128 and ITU-R BS.1770: K-weighting, windowed mean squares, and two gates
// over a bounded history of blocks.
#include "loudness/r128_meter.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "common/memory.h"
#include "common/numeric.h"
#include "common/sample_format.h"

namespace {

constexpr float kNothingMeasured = -1000.0f;
constexpr float kAbsoluteGate = 1.1724653e-7f;  // energy of -70 LUFS
constexpr float kRelativeGate = 0.1f;           // -10 LU
constexpr float kLn10 = 2.3025851f;
constexpr float kOffset_dB =
    -0.691f;  // what the K-weighting lifts 997 Hz by is taken off again (BS.1770, note 1)
// Left, right, centre, left surround, right surround; channels past the fifth weigh 1.
constexpr float kWeights[] = {1.0f, 1.0f, 1.0f, 1.41f, 1.41f};

}  // namespace

// ---- Process ---------------------------------------------------------------------------------------
namespace {

loudness::MeterChannel channel_for_kernel(Ebur128State& s, size_t ch, const float* in) {
  return {&s.coeffs[ch].shelf,
          &s.coeffs[ch].high_pass,
          &s.history[ch].shelf,
          &s.history[ch].high_pass,
          static_cast<float>(s.input_scale),
          &s.sums[ch],
          in};
}

// Mean square of the window, channels weighted.
float block_energy(const Ebur128State& s) {
  float energy = 0;
  for (size_t ch = 0; ch < s.sums.size(); ++ch) energy = std::fma(s.weights[ch], s.sums[ch], energy);
  return energy / static_cast<float>(s.window_samples);
}

void store_block(Ebur128State& s, float energy) {
  s.block_energies[static_cast<size_t>(s.block_position)] = energy;
  if (++s.block_position >= s.block_capacity) s.block_position = 0;
  s.block_count = std::min(s.block_count + 1, s.block_capacity);
}

// After the samples of a block: whether its energy is due.
void count_frames(Ebur128State& s, int n) {
  s.samples_to_next_block = common::wrapping_sub(s.samples_to_next_block, n);
  if (s.samples_to_next_block > 0) return;
  const float energy = block_energy(s);
  if (energy >= kAbsoluteGate) store_block(s, energy);
  s.samples_to_next_block = common::wrapping_add(s.samples_to_next_block, s.step_samples);
}

void metered(void* meter, const loudness::MeterRing& ring) {
  auto& s = *static_cast<Ebur128State*>(meter);
  s.ring_position = ring.position;
  if (s.all_joined) count_frames(s, s.frames_joined);
}

}  // namespace

// One position for all channels: within a block each channel takes the next n entries, and overwrites what another
// channel may have written. The channels' sums then trade energy between them; only their total is the ring's. Required
// behaviour: targets are tuned to its readings.
void loudness::join(Ebur128State* s, float** in, lanes::Block& block) {
  if (!s || s->squares.empty()) return;  // without a ring nothing is ever measured
  s->frames_joined = block.frames;
  for (size_t first = 0; first < s->sums.size(); first += 2) {  // two at a time, for the kernels
    const size_t count = std::min<size_t>(2, s->sums.size() - first);
    if (first > 0) block.finish();
    for (size_t i = 0; i < count; ++i) s->job.channels[i] = channel_for_kernel(*s, first + i, in[first + i]);
    s->job.count = static_cast<int>(count);
    s->job.ring = {s->squares.data(), static_cast<int>(s->squares.size()), s->ring_position};
    s->job.metered = metered, s->job.owner = s;
    s->all_joined = first + count == s->sums.size();
    block.join_reading(kMeterKind, s->job);
  }
}

void ebur128_addframes(Ebur128State* s, float** in, int n) {
  if (!s) return;
  lanes::Block block(n, *s->scratch);
  loudness::join(s, in, block);
  block.finish();
}

float ebur128_gatedloudness(const Ebur128State* s) {
  if (!s || s->block_count <= 0) return kNothingMeasured;
  const float* const begin = s->block_energies.data();
  const float* const end = begin + s->block_count;
  float sum = 0;
  for (const float* e = begin; e < end; ++e) sum += *e;
  const float gate = sum / static_cast<float>(s->block_count) * kRelativeGate;
  float loud_sum = 0;
  int loud_count = 0;
  for (const float* e = begin; e < end; ++e)
    if (*e >= gate) loud_sum += *e, ++loud_count;
  if (loud_count == 0) return kNothingMeasured;  // finite energies whose sum is infinite
  return std::fma(logf(loud_sum / static_cast<float>(loud_count)) / kLn10, 10.0f, kOffset_dB);
}

// ---- Life cycle ------------------------------------------------------------------------------------
namespace {

int samples_in(int sample_rate, int ms) { return common::wrapping_mul(sample_rate, ms) / 1000; }

int32_t input_scale(int bit_rate) { return bit_rate == 16 ? 32768 : bit_rate == 24 ? 8388608 : INT32_MIN; }

}  // namespace

Ebur128State* loudness::create_meter(int bit_rate, int sample_rate, int channels, int window_ms,
                                     int step_ms) {
  if (!common::sample_format(bit_rate, "ebur128_init")) return nullptr;
  const int window_samples = samples_in(sample_rate, window_ms);
  if (!common::servable(channels, window_samples)) return nullptr;
  return common::null_without_memory([&] {
    auto s = std::make_unique<Ebur128State>();
    s->bit_rate = bit_rate, s->input_scale = input_scale(bit_rate);
    s->sample_rate = sample_rate, s->channels = channels;
    s->window_ms = window_ms, s->window_samples = window_samples;
    s->step_ms = step_ms, s->step_samples = samples_in(sample_rate, step_ms);
    s->samples_to_next_block = window_samples;
    const size_t size = common::array_size(channels);
    s->squares.resize(size * common::array_size(window_samples));
    s->sums.resize(size);
    s->weights.resize(size, 1.0f);
    std::copy_n(kWeights, std::min(size, std::size(kWeights)), s->weights.begin());
    s->coeffs.resize(size, loudness::design_k_weighting(static_cast<float>(sample_rate)));
    s->history.resize(size);
    s->block_energies.resize(loudness::kHistoryBlocks);
    s->block_capacity = loudness::kHistoryBlocks;
    return s.release();
  });
}

Ebur128State* ebur128_init(int bit_rate, int sample_rate, int channels, int window_ms, int step_ms) {
  std::unique_ptr<Ebur128State> s(
      loudness::create_meter(bit_rate, sample_rate, channels, window_ms, step_ms));
  return common::null_without_memory([&] {
    if (s) s->scratch = std::make_unique<lanes::Scratch>();
    return s.release();
  });
}

void ebur128_destroy(Ebur128State* s) { delete s; }
