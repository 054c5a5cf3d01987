#include "host/loudness.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>

#include "host/design.h"

namespace host {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// The two stages of K-weighting for any rate: ITU-R BS.1770-4 Annex 1 gives them for 48 kHz, these are the analogue
// prototypes behind its coefficients.
std::array<WeightingSection, 2> k_weighting(double sample_rate) {
  double k = std::tan(kPi * 1681.974450955533 / sample_rate), q = 0.7071752369554196;
  const double vh = std::pow(10.0, 3.999843853973347 / 20.0), vb = std::pow(vh, 0.4996667741545416);
  double a0 = 1.0 + k / q + k * k;
  const WeightingSection shelf{(vh + vb * k / q + k * k) / a0, 2.0 * (k * k - vh) / a0,
                               (vh - vb * k / q + k * k) / a0, 2.0 * (k * k - 1.0) / a0,
                               (1.0 - k / q + k * k) / a0};
  k = std::tan(kPi * 38.13547087602444 / sample_rate), q = 0.5003270373238773;
  a0 = 1.0 + k / q + k * k;
  return {shelf, WeightingSection{1.0, -2.0, 1.0, 2.0 * (k * k - 1.0) / a0, (1.0 - k / q + k * k) / a0}};
}

// The interpolator of ITU-R BS.1770-4 Annex 2: four phases; phases 2 and 3 are phases 1 and 0 read backwards.
constexpr float kPhases[2][12] = {{0.0017089843750f, 0.0109863281250f, -0.0196533203125f, 0.0332031250000f,
                                   -0.0594482421875f, 0.1373291015625f, 0.9721679687500f, -0.1022949218750f,
                                   0.0476074218750f, -0.0266113281250f, 0.0148925781250f, -0.0083007812500f},
                                  {-0.0291748046875f, 0.0292968750000f, -0.0517578125000f, 0.0891113281250f,
                                   -0.1665039062500f, 0.4650878906250f, 0.7797851562500f, -0.2003173828125f,
                                   0.1015625000000f, -0.0582275390625f, 0.0330810546875f, -0.0189208984375f}};

double lufs(double mean_square) {
  return mean_square > 0 ? -0.691 + 10.0 * std::log10(mean_square) : -kInfinity;
}

double mean_above(const std::vector<double>& energies, double gate) {
  double sum = 0;
  int count = 0;
  for (const double e : energies)
    if (e >= gate) sum += e, ++count;
  return count ? sum / count : 0.0;
}

const double kAbsoluteGate = std::pow(10.0, (-70.0 + 0.691) / 10.0);

}  // namespace

LoudnessMeter::LoudnessMeter(int sample_rate, int channels)
    : channels_(channels), hop_frames_(std::max(1, (sample_rate + 5) / 10)), hop_left_(hop_frames_) {
  for (int ch = 0; ch < channels; ++ch) state_.push_back({k_weighting(sample_rate)});
}

void LoudnessMeter::add_true_peak(Channel& channel, float x) {
  const auto at = static_cast<size_t>(recent_at_);
  channel.recent[at] = channel.recent[at + kTaps] = x;
  // The taps' magnitudes sum to less than 2.1: twelve samples this far below the peak cannot exceed it.
  channel.loud = std::abs(x) * 2.1f > true_peak_ ? kTaps : std::max(0, channel.loud - 1);
  if (channel.loud == 0) return;
  const float* window = &channel.recent[at + 1];  // oldest first
  for (const auto& phase : kPhases) {
    float forward = 0, backward = 0;
    for (int i = 0; i < kTaps; ++i) {
      forward += phase[i] * window[i];
      backward += phase[kTaps - 1 - i] * window[i];
    }
    true_peak_ = std::max({true_peak_, std::abs(forward), std::abs(backward)});
  }
}

void LoudnessMeter::add(const int16_t* pcm, int frames) {
  for (int i = 0; i < frames; ++i) {
    recent_at_ = (recent_at_ + 1) % kTaps;
    for (int ch = 0; ch < channels_; ++ch) {
      const int sample = *pcm++;
      sample_peak_ = std::max(sample_peak_, std::abs(sample));
      full_scale_ += sample == 32767 || sample == -32768;
      const double x = sample / 32768.0;
      square_sum_ += x * x;
      Channel& state = state_[static_cast<size_t>(ch)];
      add_true_peak(state, static_cast<float>(x));
      const double y = state.weighting[1].step(state.weighting[0].step(x));
      hop_sum_ += y * y;
    }
    if (--hop_left_ == 0) {
      hop_energy_.push_back(hop_sum_ / hop_frames_);
      hop_sum_ = 0, hop_left_ = hop_frames_;
    }
  }
  frames_ += frames;
}

double LoudnessMeter::loudness_at(size_t end, size_t hops) const {
  if (end < hops) return -kInfinity;
  const auto last = hop_energy_.begin() + static_cast<std::ptrdiff_t>(end);
  const double energy =
      std::accumulate(last - static_cast<std::ptrdiff_t>(hops), last, 0.0) / static_cast<double>(hops);
  return energy < kAbsoluteGate ? -kInfinity : lufs(energy);
}

std::vector<double> LoudnessMeter::windows(size_t hops) const {
  std::vector<double> energies;
  for (size_t i = hops; i <= hop_energy_.size(); ++i) {
    const auto end = hop_energy_.begin() + static_cast<std::ptrdiff_t>(i);
    energies.push_back(std::accumulate(end - static_cast<std::ptrdiff_t>(hops), end, 0.0) /
                       static_cast<double>(hops));
  }
  return energies;
}

std::vector<double> LoudnessMeter::short_term_series() const {
  std::vector<double> series;
  for (size_t end = 1; end <= hop_energy_.size(); ++end) series.push_back(loudness_at(end, 30));
  return series;
}

// Blocks of 400 ms, each overlapping the next by three quarters; gates at -70 LUFS and at 10 LU below what passes it.
double LoudnessMeter::integrated() const {
  const std::vector<double> blocks = windows(4);
  const double ungated = mean_above(blocks, kAbsoluteGate);
  return ungated > 0 ? lufs(mean_above(blocks, std::max(kAbsoluteGate, ungated * 0.1))) : -kInfinity;
}

// The span between the 10th and the 95th percentile of the short-term loudness, gated at -70 LUFS and at 20 LU below
// the mean of what passes it. NaN when nothing does, and for a programme shorter than 3 s.
double LoudnessMeter::range() const {
  std::vector<double> blocks = windows(30);
  const double gate = std::max(kAbsoluteGate, 0.01 * mean_above(blocks, kAbsoluteGate));
  blocks.erase(std::remove_if(blocks.begin(), blocks.end(), [&](double e) { return e < gate; }),
               blocks.end());
  if (blocks.empty()) return std::numeric_limits<double>::quiet_NaN();
  std::sort(blocks.begin(), blocks.end());
  const auto percentile = [&](double p) {
    return lufs(blocks[static_cast<size_t>(std::lround(p * static_cast<double>(blocks.size() - 1)))]);
  };
  return percentile(0.95) - percentile(0.10);
}

Programme LoudnessMeter::programme() const {
  const auto dB = [](double x) { return x > 0 ? 20.0 * std::log10(x) : -kInfinity; };
  const double samples = static_cast<double>(frames_) * channels_;
  const double sample_peak = sample_peak_ / 32768.0;
  Programme p;
  p.frames = frames_;
  p.integrated_lufs = integrated();
  p.range_lu = range();
  p.sample_peak_dB = dB(sample_peak);
  // The interpolated points need not meet the sample itself; the waveform passes through both.
  p.true_peak_dB = dB(std::max(sample_peak, static_cast<double>(true_peak_)));
  p.rms_dB = dB(samples > 0 ? std::sqrt(square_sum_ / samples) : 0.0);
  p.full_scale_samples = full_scale_;
  return p;
}

}  // namespace host
