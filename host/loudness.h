// Loudness and peaks of a whole programme, in double: integrated loudness and loudness range, true peak, crest.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace host {

// What a meter has measured. Levels of digital silence, and loudness that no block passed the gate for, are -infinity;
// a range of no block is NaN.
struct Programme {
  int64_t frames = 0;
  double integrated_lufs, range_lu;  // ITU-R BS.1770-4; EBU Tech 3342
  double true_peak_dB, sample_peak_dB, rms_dB;
  int64_t full_scale_samples;  // samples at either end of the 16-bit range

  double crest_dB() const { return sample_peak_dB - rms_dB; }
};

// A second-order section of the K-weighting in double, transposed direct form II.
struct WeightingSection {
  double b0, b1, b2, a1, a2, s1 = 0, s2 = 0;
  double step(double x) {
    const double y = b0 * x + s1;
    s1 = b1 * x - a1 * y + s2;
    s2 = b2 * x - a2 * y;
    return y;
  }
};

// Meters one stream of interleaved 16-bit PCM; 0 dB is the amplitude 32768. Keeps ten numbers a second, so an hour
// costs nothing.
class LoudnessMeter {
 public:
  LoudnessMeter(int sample_rate, int channels);
  void add(const int16_t* pcm, int frames);

  int64_t frames() const { return frames_; }
  Programme programme() const;
  double integrated() const;  // LUFS
  double range() const;       // LU
  // Loudness at each tenth of a second, over the last 400 ms or 3 s; the latest, or all of it. -infinity before there is
  // so much sound, and below the absolute gate of -70 LUFS: what is fainter is the filters' rest of a DC offset.
  double momentary() const { return loudness_at(hop_energy_.size(), 4); }
  double short_term() const { return loudness_at(hop_energy_.size(), 30); }
  std::vector<double> short_term_series() const;

 private:
  static constexpr int kTaps = 12;
  struct Channel {
    std::array<WeightingSection, 2> weighting;
    std::array<float, 2 * kTaps>
        recent{};  // the last twelve samples, written twice so that they stand in a row
    int loud = 0;  // of them, how many may still make a peak
  };
  void add_true_peak(Channel& channel, float x);
  double loudness_at(size_t end, size_t hops) const;
  std::vector<double> windows(size_t hops) const;  // mean squares of all windows of so many hops

  int channels_, hop_frames_, hop_left_;
  std::vector<Channel> state_;
  int recent_at_ = 0;
  double hop_sum_ = 0;
  std::vector<double> hop_energy_;  // K-weighted mean square of each 100 ms, channels summed
  int64_t frames_ = 0, full_scale_ = 0;
  double square_sum_ = 0;
  int sample_peak_ = 0;
  float true_peak_ = 0;
};

}  // namespace host
