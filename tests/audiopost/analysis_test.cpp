// What audiopost measures with, held to standards, formulas and the chain itself.
#include <algorithm>

#include "analysis/measurements.h"
#include "analysis/stages.h"
#include "support.h"

using namespace analysis;
using namespace host;
using support::Record;

namespace {

void set(Record& record, int index, const std::vector<float>& values) {
  std::copy(values.begin(), values.end(), record.begin() + index);
}

// A NaN is the widest gap of all.
double wider(double worst, double gap) { return std::isnan(gap) ? INFINITY : std::max(worst, std::abs(gap)); }

double worst_gap(const Curve& measured, double from_dB,
                 const std::function<double(double)>& designed_gain_dB) {
  double worst = 0;
  for (const CurvePoint& p : measured)
    if (p.in_dB >= from_dB) worst = wider(worst, p.out_dB - p.in_dB - designed_gain_dB(p.in_dB));
  return worst;
}

// In dB, where the design is above -60 dB.
double worst_gap(const Response& measured, const std::function<Complex(double)>& designed) {
  constexpr double kBin = 48000.0 / (1 << 17);
  double worst = 0;
  for (double hz = 20; hz < 20000; hz *= 1.3) {
    const double gain = std::abs(designed(kBin * std::round(hz / kBin)));
    if (!(gain <= 1e-3)) worst = wider(worst, to_dB(std::abs(measured.at(hz)) / gain));
  }
  return worst;
}

}  // namespace

TEST_CASE("a limiter's gain is told without its opening, and not at all where nothing sounds") {
  // Threshold, ceiling, release; the tone's level and the gain that the curve designs for it.
  const struct {
    float threshold, ceiling, release, level_dB;
  } rows[] = {{-1, -1, 2000, -20}, {-12, -6, 150, -30}, {-12, -6, 150, -3}};
  for (const auto& row : rows) {
    Record record = support::plain_record(1);
    set(record, 17, {1}), set(record, 400, {row.threshold, row.ceiling, row.release});
    GainTrace trace(record, 480);
    const std::vector<int16_t> silence(480);
    trace.add(silence.data());
    CHECK(std::isnan(trace.gains()[0].lowest()));
    CHECK(std::isnan(trace.gains()[0].mean()));
    for (int block = 0; block < 500; ++block) {
      std::vector<int16_t> pcm;
      for (const float x : support::sine(480, 1000, 48000, support::full_scale(row.level_dB)))
        pcm.push_back(int16_t(std::lround(x)));
      trace.add(pcm.data());
    }
    const double designed = peak_stage(record, 0).limiter_gain_dB(row.level_dB);
    CAPTURES(row.level_dB, row.release, designed);
    // A slow release leaves the last tenth of a dB.
    for (const double gain :
         {trace.gains()[0].lowest() + 0.1, trace.gains()[0].mean(), trace.gains()[0].highest()})
      CHECK(std::abs(gain - designed) < 0.1);
  }
}

TEST_CASE("the effects run one at a time give the chain's samples") {
  for (const std::string& name : host::preset_names())
    for (const size_t channels : {1, 2}) {
      Record record = host::preset(name);
      set(record, AUDIOPOST_CHANNELS, {float(channels)}), set(record, 25, {6});
      set(record, 10, {1, 1, 1, 1, 1, 1, 1, 1});
      const std::vector<int16_t> pcm = support::noise_pcm(512 * 20 * int(channels));
      std::vector<int16_t> taken_apart;
      Stages stages(record, 512);
      for (size_t at = 0; at < pcm.size(); at += 512 * channels) {
        stages.process(&pcm[at], [](audiopost_effect, float* const*) {});
        for (size_t i = 0; i < 512 * channels; ++i)
          taken_apart.push_back(
              int16_t(std::clamp(stages.output()[i % channels][i / channels], -32768.0f, 32767.0f)));
      }
      CAPTURES(name, channels);
      CHECK(support::through_chain(make_chain(record, 512).get(), pcm, int(channels), 512) == taken_apart);
    }
}

TEST_CASE(
    "the equalizer measures as its formulas say, every type of band, each channel by its own settings") {
  Record record = support::plain_record(2);
  set(record, 14, {1});
  const struct {
    float type, fc, q, boost;
  } rows[] = {{Parametric, 1000, 2, 9},     {Parametric, 80, 16, -20}, {LowShelf, 200, 0.7f, 6},
              {LowShelf, 100, 2, -12},      {HighShelf, 8000, 1, -6},  {HighShelf, 3000, 0.3f, 12},
              {GeneralLP, 12000, 0.9f, 3},  {GeneralHP, 40, 1.2f, 0},  {BandPass, 2000, 3, 0},
              {ButterworthLP, 15000, 0, 0}, {ButterworthHP, 30, 0, 0}};
  for (const auto& row : rows) {
    set(record, 100, {1, row.type, row.fc, row.q, row.boost});
    set(record, 155, {1, Parametric, 500, 1, 3, 1, row.type, row.fc, row.q, row.boost});
    const auto measured = eq_response(record);
    REQUIRE(measured.size() == 2);
    for (int ch = 0; ch < 2; ++ch) {
      CAPTURES(row.type, row.fc, ch);
      CHECK(worst_gap(measured[size_t(ch)], [&](double hz) {
              Complex all = 1;
              for (const EqBand& band : eq_bands(record, ch))
                if (band.on) all *= band_response(band, 48000, hz);
              return all;
            }) < 0.05);
    }
  }
}

TEST_CASE("the crossover and the compressor's bands measure as designed") {
  Record record = support::plain_record(1);
  // An instant attack and a long release: the follower stays at a sine's peak, so its level is the tone's.
  const float edges[] = {20, 200, 1500, 6000, 2e4f};
  for (int band = 0; band < 4; ++band)
    set(record, 210 + 20 * band, {edges[band], edges[band + 1], 3, 1, -20, -50, -60, 4, -10, 0, 500, 0});
  for (const int count : {2, 3, 4}) {
    set(record, 200, {float(count)});
    const auto bands = compressor_bands(record, 0);
    const auto measured = crossover_responses(record, 0);
    REQUIRE(bands.size() == size_t(count));
    for (size_t b = 0; b < bands.size(); ++b) {
      CAPTURES(count, b);
      CHECK(worst_gap(measured[b], [&](double hz) { return crossover_response(bands[b], 48000, hz); }) <
            0.02);
      if (count == 3) continue;
      CHECK(worst_gap(compressor_curve(record, 0, b), -58, [&](double level) {
              return bands[b].gain_dB + bands[b].curve.played_gain_dB(level + bands[b].gain_dB, 0) -
                     to_dB(count);
            }) < 0.5);  // steps of the table, and what the follower droops between two peaks of 70 Hz
    }
  }
}

TEST_CASE("distortion is that of a clipped sine, and next to none where nothing clips") {
  Record record = support::plain_record(2);
  set(record, 20, {12}), set(record, 25, {12});
  // Fourier series of a sine of amplitude 2 cut at 1, by quadrature.
  const double drive = from_dB(12 - 6.0);
  double series[11] = {};
  for (int h = 1; h <= 10; ++h)
    for (int i = 0; i < 100000; ++i) {
      const double t = 2 * M_PI * i / 100000;
      series[h] += std::clamp(drive * std::sin(t), -1.0, 1.0) * std::sin(h * t) / 50000;
    }
  double harmonics = 0;
  for (int h = 2; h <= 10; ++h) harmonics += series[h] * series[h];
  const Distortion clipped = distortion(record, 997, -6);
  CHECK(std::abs(clipped.thd_dB - 10 * std::log10(harmonics / (series[1] * series[1]))) < 0.1);
  CHECK(std::abs(clipped.out_dB - to_dB(series[1])) < 0.02);
  const Distortion clean = distortion(support::plain_record(1), 997, -6);
  CHECK(std::abs(clean.out_dB + 6) < 0.01);
  CHECK(clean.thd_dB < -95);
  CHECK(clean.thdn_dB < -88);  // what rounding to 16 bits leaves
}

TEST_CASE("distortion waits for a gain that is on its way, a minute at most") {
  Record record = support::plain_record(1);
  set(record, 10, {1});
  const struct {
    float release_ms, window_ms;
    bool settled;
  } rows[] = {{12000, 5000, true}, {300000, 400, false}};
  for (const auto& row : rows) {
    set(record, 30, {-30, 300, row.release_ms, row.window_ms, 100});
    const Distortion d = distortion(record, 1000, -1);
    CAPTURES(row.release_ms, row.window_ms, d.out_dB);
    CHECK(d.settled == row.settled);
    if (row.settled) CHECK(std::abs(d.out_dB + 27) < 0.2);  // -4 LUFS, led to -30
  }
}

TEST_CASE("the chain answers a click within the block") {
  for (const std::string& name : host::preset_names()) CHECK(latency(host::preset(name)) == 0);
  Record mute = support::plain_record(1);
  set(mute, 20, {-200});
  CHECK(latency(mute) == -1);
}
