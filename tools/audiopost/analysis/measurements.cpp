#include "analysis/measurements.h"

#include <algorithm>
#include <cmath>

#include "analysis/stages.h"

namespace analysis {
namespace {

using namespace host;

int rate_of(const Record& record) { return field_as_int(record, AUDIOPOST_SAMPLE_RATE); }

// The response of each channel, by the last of three equal sweeps over the whole band at this peak level: by then the
// processor answers periodically, so the ratio of the spectra is exact for what is linear.
std::vector<Response> sweep(const Processor& process, int channels, int sample_rate, double level_dB) {
  const std::vector<double> period = sweep_period(sample_rate);
  const double amplitude = 32768.0 * from_dB(level_dB);
  Player player(
      process, [&](int i) { return amplitude * period[static_cast<size_t>(i % kSweepLength)]; }, channels);
  std::vector<std::vector<Complex>> spectra(static_cast<size_t>(channels));
  for (int at = 0; at < 3 * kSweepLength; at += kMeasureBlock) {
    const auto& out = player.next();
    for (size_t ch = 0; ch < out.size() && at >= 2 * kSweepLength; ++ch)
      spectra[ch].insert(spectra[ch].end(), out[ch].begin(), out[ch].end());
  }
  std::vector<Complex> reference(period.begin(), period.end());
  fft(reference);
  std::vector<Response> responses;
  for (auto& spectrum : spectra) {
    fft(spectrum);
    for (size_t i = 0; i < spectrum.size(); ++i) spectrum[i] /= amplitude * reference[i];
    responses.emplace_back(sample_rate, std::move(spectrum));
  }
  return responses;
}

constexpr double kLowest_dB = -80;  // where static curves begin, to end at 0
constexpr int kSteps = 32;

// Settled gain of a mode of the peak stage at each level. It may take many blocks to arrive: a block is kept when it has
// moved by less than a hundredth of a dB since 20 blocks ago.
template <auto Process>
Curve peak_curve(const Record& record, int channel) {
  const QuietLibrary quiet;
  Curve curve;
  for (int step = 0; step <= kSteps; ++step) {
    const double level = kLowest_dB - kLowest_dB * step / kSteps;
    const auto process =
        processor<Process>(Maximizer_Init(settings(record, AUDIOPOST_EFFECT_MAXIMIZER, channel), 16,
                                          rate_of(record), 1, kMeasureBlock, 1),
                           Maximizer_Destroy);
    const auto amplitude = static_cast<float>(32767.0 * from_dB(level));
    Player player(process, square(double{amplitude}));
    double gain = 1e9, earlier = 0;
    for (int b = 0; b < 3000 && !(b % 20 == 0 && std::abs(gain - earlier) < 0.01); ++b) {
      if (b % 20 == 0) earlier = gain;
      gain = to_dB(std::abs(player.next().front().back()) / amplitude);
    }
    curve.push_back({level, level + gain});
  }
  return curve;
}

// Auto gain ends the process when its step is shorter than a block: it measures every block then.
Chain measured_chain(Record record) {
  constexpr size_t kAutoGainStep = AUDIOPOST_AUTOGAIN_SECTION + AUDIOPOST_AUTOGAIN_R128_STEPS;
  record[kAutoGainStep] = std::max(record[kAutoGainStep],
                                   std::ceil(1000.0f * kMeasureBlock / static_cast<float>(rate_of(record))));
  return make_chain(record, kMeasureBlock);
}

// Seconds in which nothing need move yet: auto gain has no reading before its window is full.
int least_wait(const Record& record) {
  const double window_s =
      runs(record, AUDIOPOST_EFFECT_AUTO_GAIN)
          ? field_as_int(record, AUDIOPOST_AUTOGAIN_SECTION + AUDIOPOST_AUTOGAIN_R128_WINS) / 1000.0
          : 0.0;
  return 1 + static_cast<int>(std::clamp(window_s, 0.0, kLongestWait / 2.0));
}

}  // namespace

// ---- Response ------------------------------------------------------------------------------------------------
std::vector<Response> chain_response(const Record& record, double level_dB) {
  const Chain chain = measured_chain(record);
  const int channels = field_as_int(record, AUDIOPOST_CHANNELS);
  std::vector<int16_t> pcm(static_cast<size_t>(kMeasureBlock * channels));
  const auto through = [&](float** buffers, int frames) {
    for (int i = 0; i < frames * channels; ++i)
      pcm[static_cast<size_t>(i)] = static_cast<int16_t>(std::lround(buffers[i % channels][i / channels]));
    AudioPost_Process(chain.get(), pcm.data(), pcm.data(), channels, frames);
    for (int i = 0; i < frames * channels; ++i)
      buffers[i % channels][i / channels] = pcm[static_cast<size_t>(i)];
  };
  return sweep(through, channels, rate_of(record), std::min(level_dB, -0.001));
}

std::vector<Response> eq_response(const Record& record) {
  const int rate = rate_of(record), channels = distinct_channels(record);
  const auto process = processor<EQ10_Process>(
      EQ10_Init(settings(record, AUDIOPOST_EFFECT_EQ10, 0), 16, rate, channels, kMeasureBlock, 0),
      EQ10_Destroy);
  return sweep(process, channels, rate, -20.0);
}

std::vector<Response> crossover_responses(const Record& record, int channel) {
  const std::vector<CompressorBand> bands = compressor_bands(record, channel);
  std::vector<Response> responses;
  for (size_t b = 0; b < bands.size(); ++b) {
    CrossoverParam param{static_cast<int32_t>(bands.size()) - 2, 0, 0, 0, 0, 0, 0};
    const float* section = settings(record, AUDIOPOST_EFFECT_MULTIBAND_DRC, channel);
    const auto from = [&](int band_start) { return section[band_start + AUDIOPOST_DRC_FREQ_START]; };
    const auto to = [&](int band_start) { return section[band_start + AUDIOPOST_DRC_FREQ_END]; };
    param.low_fc = to(AUDIOPOST_DRC_LOW), param.high_fc = from(AUDIOPOST_DRC_HIGH);
    param.mid1_low_fc = from(AUDIOPOST_DRC_MID1), param.mid1_high_fc = to(AUDIOPOST_DRC_MID1);
    param.mid2_low_fc = from(AUDIOPOST_DRC_MID2), param.mid2_high_fc = to(AUDIOPOST_DRC_MID2);
    const auto filter =
        own(Filters_Crossover_filterInit(rate_of(record), 1, &param), Filters_Crossover_filterDestroy);
    const size_t output = b == 0 ? 0 : b + 1 == bands.size() ? 1 : b + 1;  // it gives low, high, mid 1, mid 2
    const auto one_band = [&](float** x, int n) {
      std::array<float, 4> out{};
      for (int i = 0; i < n; ++i) {
        Filters_Crossover_filterProcess(filter.get(), x[0] + i, out.data());
        x[0][i] = out[output];
      }
    };
    responses.push_back(sweep(one_band, 1, rate_of(record), -20.0).front());
  }
  return responses;
}

// ---- Distortion ----------------------------------------------------------------------------------------------
Distortion distortion(const Record& record, double hz, double level_dB) {
  const Chain chain = measured_chain(record);
  const int rate = rate_of(record), channels = field_as_int(record, AUDIOPOST_CHANNELS);
  const auto count = static_cast<size_t>(channels), second = static_cast<size_t>(rate);
  std::vector<int16_t> pcm(kMeasureBlock * count);
  std::vector<double> out;
  const Signal tone = sine(32767.0 * from_dB(level_dB), hz, rate);
  int frame = 0;
  // Plays on until so many samples have come out, and takes them.
  const auto play = [&](size_t samples) {
    while (out.size() < samples) {
      for (size_t i = 0; i < pcm.size(); i += count)
        std::fill_n(&pcm[i], count, static_cast<int16_t>(std::lround(tone(frame++))));
      AudioPost_Process(chain.get(), pcm.data(), pcm.data(), channels, kMeasureBlock);
      for (size_t i = 0; i < pcm.size(); i += count) out.push_back(pcm[i] / 32767.0);
    }
    std::vector<double> taken(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(samples));
    out.erase(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(samples));
    return taken;
  };

  int still = 0;  // seconds in a row; one alone may be where a gain turns round
  double level = NAN;
  for (int waited = 0; still < 2 && waited < kLongestWait; ++waited) {
    const double now = windowed_level_dB(play(second));
    still = std::abs(now - level) < 0.01 && waited > least_wait(record) ? still + 1 : 0;
    level = now;
  }

  return read_distortion(play(kToneLength), hz, level_dB, rate, still == 2);
}

// ---- Static curves -------------------------------------------------------------------------------------------
Curve agc_curve(const Record& record, int channel) { return peak_curve<Agc_Process>(record, channel); }

Curve limiter_curve(const Record& record, int channel) {
  return peak_curve<Maximizer_Process>(record, channel);
}

double band_centre_hz(const CompressorBand& band, double sample_rate) {
  double hz = std::sqrt(band.low_hz * band.high_hz);
  if (band.low_hz <= 0) hz = band.high_hz / 3;
  if (band.high_hz <= 0) hz = std::min(band.low_hz * 2, std::sqrt(band.low_hz * sample_rate / 2));
  return std::max(20.0, 10 * std::round(hz / 10));
}

Curve compressor_curve(const Record& record, int channel, size_t band) {
  const QuietLibrary quiet;
  const std::vector<CompressorBand> bands = compressor_bands(record, channel);
  const int rate = rate_of(record);
  const double hz = band_centre_hz(bands[band], rate);
  const double passed_dB = to_dB(std::abs(crossover_response(bands[band], rate, hz)));

  // This band's settings with every other one turned all the way down.
  constexpr size_t kLow = AUDIOPOST_DRC_LOW, kMid1 = AUDIOPOST_DRC_MID1, kMid2 = AUDIOPOST_DRC_MID2,
                   kHigh = AUDIOPOST_DRC_HIGH;
  static constexpr size_t kOffsets[][4] = {
      {}, {}, {kLow, kHigh}, {kLow, kMid1, kHigh}, {kLow, kMid1, kMid2, kHigh}};
  std::array<float, AUDIOPOST_DRC_STRIDE> section{};
  std::copy_n(settings(record, AUDIOPOST_EFFECT_MULTIBAND_DRC, channel), section.size(), section.begin());
  for (size_t b = 0; b < bands.size(); ++b)
    if (b != band)
      section[kOffsets[bands.size()][b] + AUDIOPOST_DRC_GAIN_DB] = -400.0f,
                                          section[kOffsets[bands.size()][b] + AUDIOPOST_DRC_BAND_ENABLE] =
                                              0.0f;
  const float* settings = section.data() + kOffsets[bands.size()][band];
  const double longest_ms = std::clamp(
      std::max(settings[AUDIOPOST_DRC_ATTACK_TIME], settings[AUDIOPOST_DRC_RELEASE_TIME]), 1.0f, 1000.0f);

  Curve curve;
  const auto window = static_cast<size_t>(rate / 10);  // whole periods: hz is a multiple of 10
  for (int step = 0; step <= kSteps; ++step) {
    const double level = kLowest_dB - kLowest_dB * step / kSteps;
    const auto process = processor<MultiBandDRC_Process>(MultiBandDRC_Init(section.data(), 16, rate, 1, 1),
                                                         MultiBandDRC_Destroy);
    const double amplitude = 32767.0 * from_dB(level - passed_dB);
    const auto out =
        Player(process, sine(amplitude, hz, rate)).settled((0.1 + 4e-3 * longest_ms) * rate, window);
    curve.push_back({level, to_dB(std::abs(component(out, hz, rate)) / 32767.0)});
  }
  return curve;
}

std::function<double(double)> measured_bass_shaper(const Record& record, int channel) {
  const QuietLibrary quiet;
  // They bend as fast as the hardest drive to within 1 % of full scale.
  constexpr size_t kHarmonics = 60;
  const int rate = rate_of(record);
  const double hz = static_cast<double>(rate) / kMeasureBlock;  // a period is a block
  BassStage stage = bass_stage(record, channel);
  stage.amount_dB = 0, stage.floor_active = false, stage.split_hz = static_cast<float>(4 * hz);
  const float section[AUDIOPOST_BASS_STRIDE] = {0, static_cast<float>(stage.drive),
                                                static_cast<float>(stage.blend),
                                                static_cast<float>(stage.split_hz)};
  const auto process =
      processor<BassEnhancer_Process>(BassEnhancer_Init(section, 16, rate, 1, 1), BassEnhancer_Destroy);
  const BassPaths at_tone = bass_paths(stage, rate, hz);
  const Complex phasor = Complex(0, -1) / at_tone.to_shaper;  // so that the shaper sees a sine of amplitude 1
  const auto tone = [&](int i) {
    return 32768.0 * (phasor * std::polar(1.0, 2 * kPi * i / kMeasureBlock)).real();
  };
  const std::vector<float> out = Player(process, tone).settled(2.0 * rate, kMeasureBlock);

  std::vector<Complex> spectrum(out.begin(), out.end());
  fft(spectrum);
  std::vector<Complex> series(1 + kHarmonics);
  const auto shaper = bass_shaper(stage);
  for (int i = 0; i < kMeasureBlock; ++i)
    series[0] += shaper(std::sin(2 * kPi * i / kMeasureBlock)) / kMeasureBlock;
  for (size_t k = 1; k <= kHarmonics; ++k) {
    series[k] = spectrum[k] / (32768.0 * kMeasureBlock / 2) - (k == 1 ? phasor * at_tone.dry : 0.0);
    series[k] /= bass_paths(stage, rate, static_cast<double>(k) * hz).from_shaper;
  }
  return [series](double x) {
    double sum = 0;
    for (size_t k = 0; k < series.size(); ++k)
      sum += (series[k] * std::polar(1.0, static_cast<double>(k) * std::asin(x))).real();
    return sum;
  };
}

std::vector<double> measured_bass_harmonics(const Record& record, int channel, double hz, double amplitude,
                                            int n) {
  const QuietLibrary quiet;
  const int rate = rate_of(record);
  const auto process = processor<BassEnhancer_Process>(
      BassEnhancer_Init(settings(record, AUDIOPOST_EFFECT_BASS_ENHANCER, channel), 16, rate, 1, 1),
      BassEnhancer_Destroy);
  const auto second = static_cast<size_t>(rate);
  const auto out = Player(process, sine(32768.0 * amplitude, hz, rate)).settled(2.0 * rate, second);
  std::vector<double> amplitudes;
  for (int k = 1; k <= n; ++k) amplitudes.push_back(std::abs(component(out, k * hz, rate)) / 32768.0);
  return amplitudes;
}

// ---- Latency -------------------------------------------------------------------------------------------------
int latency(const Record& record) {
  const Chain with = measured_chain(record), without = measured_chain(record);
  const int channels = field_as_int(record, AUDIOPOST_CHANNELS), click = 100;
  std::vector<int16_t> a(static_cast<size_t>(kMeasureBlock * channels)), b = a;
  constexpr int kClickBlock =
      100;  // by then a limiter has opened and what filters make of silence has died away
  for (int block = 0; block < kClickBlock + 50; ++block) {
    std::fill(a.begin(), a.end(), int16_t{0});
    std::fill(b.begin(), b.end(), int16_t{0});
    if (block == kClickBlock) std::fill_n(a.begin() + click * channels, channels, int16_t{8192});
    AudioPost_Process(with.get(), a.data(), a.data(), channels, kMeasureBlock);
    AudioPost_Process(without.get(), b.data(), b.data(), channels, kMeasureBlock);
    for (size_t i = 0; i < a.size(); ++i)
      if (a[i] != b[i]) return (block - kClickBlock) * kMeasureBlock + static_cast<int>(i) / channels - click;
  }
  return -1;
}

}  // namespace analysis
