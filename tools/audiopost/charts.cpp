#include "charts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "analysis/measurements.h"
#include "format.h"
#include "host/fields.h"

namespace audiopost {
namespace {

using namespace analysis;
using namespace host;

constexpr double kLowest_hz = 20, kHighest_hz = 20000;
const std::vector<double> kDecades = {20, 50, 100, 200, 500, 1000, 2000, 5000, 10000, 20000};
double rate_of(const host::Record& record) { return host::field_as_int(record, AUDIOPOST_SAMPLE_RATE); }

// At equal steps of pitch, and at frequencies where a curve may be narrower than those.
Points over_frequency(const host::Record& record, int points, const std::function<double(double)>& dB,
                      const std::vector<double>& also_hz = {}) {
  const double high = std::min(kHighest_hz, 0.49 * rate_of(record));
  Points result;
  for (int i = 0; i <= points; ++i) {
    const double hz = kLowest_hz * std::pow(high / kLowest_hz, static_cast<double>(i) / points);
    result.emplace_back(hz, dB(hz));
  }
  for (const double hz : also_hz)
    if (hz > kLowest_hz && hz < high) result.emplace_back(hz, dB(hz));
  std::sort(result.begin(), result.end());
  return result;
}
constexpr int kLine = 400, kDots = 60;

Axis frequency_axis() { return {"frequency, Hz", kLowest_hz, kHighest_hz, true, kDecades}; }

// Room for all series, in steps of 6 dB around 0, not below `floor`.
Axis gain_axis(const std::vector<Series>& series, double floor) {
  double low = 0, high = 0;
  for (const Series& one : series)
    for (const auto& point : one.points)
      if (std::isfinite(point.second)) low = std::min(low, point.second), high = std::max(high, point.second);
  Axis axis{"gain, dB", std::max(floor, 6 * std::floor(low / 6 - 0.1)), 6 * std::ceil(high / 6 + 0.1)};
  const double range = axis.high - axis.low, step = range > 48 ? 12 : range > 18 ? 6 : 3;
  for (auto i = std::lround(std::ceil(axis.low / step)); static_cast<double>(i) * step <= axis.high; ++i)
    axis.ticks.push_back(static_cast<double>(i) * step);
  return axis;
}

std::string channel_name(const host::Record& record, int channel) {
  if (distinct_channels(record) == 2) return channel == 0 ? ", left" : ", right";
  return "";
}

std::string rounded(double x, const char* unit) {
  char text[64];
  std::snprintf(text, sizeof text, "%.5g %s", x, unit);
  return text;
}

// ---- Equalizer -----------------------------------------------------------------------------------------------
std::string band_name(const EqBand& band, bool whole) {
  static constexpr const char* kTypes[] = {"bell",      "low shelf", "high shelf", "low-pass",
                                           "high-pass", "band-pass", "low-pass",   "high-pass"};
  const std::string hz = rounded(band.fc_hz, "Hz"), number = std::to_string(band.number) + ": ";
  if (!whole) return number + hz;
  const std::string gain = band.boost_dB == 0 ? "" : " " + signed_number(band.boost_dB) + " dB";
  return number + kTypes[band.type] + " " + hz + gain;
}

Chart eq_chart(const host::Record& record, int channel, const Response& measured) {
  Chart chart{"Equalizer" + channel_name(record, channel),
              "single bands, their product, and EQ10 measured by sweep",
              frequency_axis(),
              {},
              {}};
  std::vector<EqBand> on;
  std::vector<double> centres_hz;
  for (const EqBand& band : eq_bands(record, channel))
    if (band.on) on.push_back(band), centres_hz.push_back(band.fc_hz);
  for (const EqBand& band : on) {
    const auto one = [&](double hz) { return to_dB(std::abs(band_response(band, rate_of(record), hz))); };
    chart.series.push_back(
        {band_name(band, true), 1 + band.number, Mark::thin, over_frequency(record, kLine, one, centres_hz)});
  }
  const auto all = [&](double hz) {
    Complex product = 1;
    for (const EqBand& band : on) product *= band_response(band, rate_of(record), hz);
    return to_dB(std::abs(product));
  };
  chart.series.push_back({"all", 0, Mark::thick, over_frequency(record, kLine, all, centres_hz)});
  chart.series.push_back({"measured", 0, Mark::dots, over_frequency(record, kDots, [&](double hz) {
                            return to_dB(std::abs(measured.at(hz)));
                          })});
  if (!legend_fits(chart))
    for (size_t b = 0; b < on.size(); ++b) chart.series[b].name = band_name(on[b], false);
  chart.y = gain_axis(chart.series, -30);
  return chart;
}

// ---- Crossover -----------------------------------------------------------------------------------------------
Chart crossover_chart(const host::Record& record, int channel) {
  Chart chart{"Crossover" + channel_name(record, channel),
              "each band and the sum of all, without make-up gain",
              frequency_axis(),
              {},
              {}};
  const std::vector<CompressorBand> bands = compressor_bands(record, channel);
  const std::vector<Response> measured = crossover_responses(record, channel);
  const auto sum = [&](double hz) {
    Complex total = 0;
    for (const CompressorBand& band : bands) total += crossover_response(band, rate_of(record), hz);
    return to_dB(std::abs(total));
  };
  for (size_t b = 0; b < bands.size(); ++b)
    chart.series.push_back(
        {bands[b].name, static_cast<int>(b) + 1, Mark::thin, over_frequency(record, kLine, [&](double hz) {
           return to_dB(std::abs(crossover_response(bands[b], rate_of(record), hz)));
         })});
  chart.series.push_back({"sum", 0, Mark::thick, over_frequency(record, kLine, sum)});
  for (size_t b = 0; b < bands.size(); ++b)
    chart.series.push_back(
        {"", static_cast<int>(b) + 1, Mark::dots,
         over_frequency(record, kDots, [&](double hz) { return to_dB(std::abs(measured[b].at(hz))); })});
  chart.series.push_back({"measured", 0, Mark::dots, over_frequency(record, kDots, [&](double hz) {
                            Complex total = 0;
                            for (const Response& band : measured) total += band.at(hz);
                            return to_dB(std::abs(total));
                          })});
  chart.y = gain_axis(chart.series, -48);
  return chart;
}

// ---- Static curves -------------------------------------------------------------------------------------------
Points over_level(int low_dB, const std::function<double(double)>& dB) {
  Points points;
  for (int i = 4 * low_dB; i <= 0; ++i) points.emplace_back(i / 4.0, dB(i / 4.0));
  return points;
}

// Gain over level: as output over input the bands would lie on one another.
Chart compressor_chart(const host::Record& record, int channel) {
  Chart chart{
      "Compressor bands" + channel_name(record, channel),
      "by the level within the band; make-up gain and share of the band included; measured with sines",
      {"input, dBFS", -80, 0},
      {},
      {}};
  const std::vector<CompressorBand> bands = compressor_bands(record, channel);
  for (size_t b = 0; b < bands.size(); ++b) {
    const CompressorBand& band = bands[b];
    const int color = static_cast<int>(b) + 1;
    const Points designed = over_level(-80, [&](double level) {
      const double curve = band.curve.played_gain_dB(level + band.gain_dB, 0.0) + band.share_dB;
      return band.gain_dB + (band.compresses ? curve : 0.0);
    });
    Points measured;
    for (const CurvePoint& point : compressor_curve(record, channel, b))
      measured.emplace_back(point.in_dB, point.out_dB - point.in_dB);
    const std::string name = band.name + std::string(band.compresses ? "" : " (not compressed)");
    const auto same = std::find_if(chart.series.begin(), chart.series.end(),
                                   [&](const Series& earlier) { return earlier.points == designed; });
    if (same != chart.series.end())
      same->name += ", " + name;  // one line cannot show two
    else
      chart.series.push_back({name, color, Mark::thick, designed});
    chart.series.push_back({"", color, Mark::dots, measured});
  }
  chart.series.push_back(
      {"measured", 0, Mark::dots, {}});  // for the legend: the rings have their bands' colours
  chart.y = gain_axis(chart.series, -36);
  return chart;
}

// The peak stage's curves, output over input.
Chart peak_chart(const std::string& title, const std::string& note, int low_dB,
                 const std::function<double(double)>& gain_dB, const Curve& curve) {
  const double low = low_dB;
  Chart chart{title, note, {"input, dBFS", low, 0}, {"output, dBFS", low, 6}, {}, true};
  for (int tick = low_dB; tick <= 0; tick += 10) chart.y.ticks.push_back(tick);
  Points measured;
  for (const CurvePoint& point : curve) measured.emplace_back(point.in_dB, point.out_dB);
  chart.series = {{"designed", 1, Mark::thick, over_level(low_dB, [&](double x) { return x + gain_dB(x); })},
                  {"measured", 2, Mark::dots, measured}};
  return chart;
}

Chart agc_chart(const host::Record& record, int channel) {
  const PeakStage stage = peak_stage(record, channel);
  return peak_chart(
      "AGC" + channel_name(record, channel), "settled, before the limiter; measured with square waves", -80,
      [&](double x) { return stage.agc.played_gain_dB(x, 10.0); }, agc_curve(record, channel));
}

Chart limiter_chart(const host::Record& record, int channel) {
  const PeakStage stage = peak_stage(record, channel);
  int low = -40;
  while (low > -80 && low > 2 * stage.max_threshold - 10) low -= 10;  // to where the knee has not begun
  return peak_chart(
      "Limiter" + channel_name(record, channel), "settled, with its make-up gain; measured with square waves",
      low, [&](double x) { return stage.limiter_gain_dB(x); }, limiter_curve(record, channel));
}

// ---- Bass enhancer -------------------------------------------------------------------------------------------
Chart shaper_chart(const host::Record& record, int channel) {
  Chart chart{"Bass shaper" + channel_name(record, channel),
              "what makes the harmonics; measured by the harmonics of a sine, filters divided out",
              {"low band in, 1 is full scale", -1, 1},
              {"out", -1, 1},
              {},
              true};
  const auto curve = [](const std::function<double(double)>& shaper, int steps) {
    Points points;
    for (int i = -steps; i <= steps; ++i) points.emplace_back(double(i) / steps, shaper(double(i) / steps));
    return points;
  };
  const Points designed = curve(bass_shaper(bass_stage(record, channel)), 200);
  for (const auto& point : designed) {
    if (!std::isfinite(point.second)) continue;
    chart.y.low = std::min(chart.y.low, std::floor(point.second * 2) / 2);
    chart.y.high = std::max(chart.y.high, std::ceil(point.second * 2) / 2);
  }
  chart.series = {{"designed", 1, Mark::thick, designed},
                  {"measured", 2, Mark::dots, curve(measured_bass_shaper(record, channel), 20)}};
  return chart;
}

Chart harmonics_chart(const host::Record& record, int channel) {
  constexpr int kHarmonics = 6;
  const BassStage stage = bass_stage(record, channel);
  const double hz = std::max(10.0, std::round(0.75 * stage.split_hz)), level_dB = -12;
  Chart chart{"Bass enhancer, harmonics" + channel_name(record, channel),
              "of a sine of " + rounded(hz, "Hz") + " at -12 dBFS; split at " + rounded(stage.split_hz, "Hz"),
              {"harmonic", 0.5, kHarmonics + 0.5, false, {1, 2, 3, 4, 5, 6}},
              {"level, dBFS", -90, 0},
              {}};
  const auto designed = bass_harmonics(stage, rate_of(record), hz, from_dB(level_dB), kHarmonics);
  const auto measured = measured_bass_harmonics(record, channel, hz, from_dB(level_dB), kHarmonics);
  Series bars{"designed", 1, Mark::bars, {}}, points{"measured", 2, Mark::dots, {}};
  for (size_t k = 0; k < kHarmonics; ++k) {
    bars.points.emplace_back(static_cast<double>(k + 1), to_dB(designed[k]));
    points.points.emplace_back(static_cast<double>(k + 1), to_dB(measured[k]));
  }
  chart.series = {bars, points};
  return chart;
}

}  // namespace

std::vector<Chart> tuning_charts(const host::Record& record) {
  std::vector<Chart> charts;
  const int channels = distinct_channels(record);
  const auto for_each_channel = [&](const auto& chart) {
    for (int ch = 0; ch < channels; ++ch) charts.push_back(chart(record, ch));
  };
  if (runs(record, AUDIOPOST_EFFECT_EQ10)) {
    const std::vector<Response> measured = eq_response(record);
    for (int ch = 0; ch < channels; ++ch)
      charts.push_back(eq_chart(record, ch, measured[static_cast<size_t>(ch)]));
  }
  if (runs(record, AUDIOPOST_EFFECT_MULTIBAND_DRC)) {
    for_each_channel(crossover_chart);
    for_each_channel(compressor_chart);
  }
  if (runs(record, AUDIOPOST_EFFECT_AGC)) for_each_channel(agc_chart);
  if (runs(record, AUDIOPOST_EFFECT_MAXIMIZER)) for_each_channel(limiter_chart);
  if (runs(record, AUDIOPOST_EFFECT_BASS_ENHANCER)) {
    for_each_channel(shaper_chart);
    for_each_channel(harmonics_chart);
  }
  return charts;
}

std::string effects_off(const host::Record& record) {
  std::string text;
  for (const auto& [flag, name] :
       {std::pair(AUDIOPOST_EFFECT_AUTO_GAIN, "auto gain"),
        std::pair(AUDIOPOST_EFFECT_BASS_ENHANCER, "bass enhancer"),
        std::pair(AUDIOPOST_EFFECT_EXCITER, "exciter"), std::pair(AUDIOPOST_EFFECT_DE_ESSER, "de-esser"),
        std::pair(AUDIOPOST_EFFECT_EQ10, "equalizer"),
        std::pair(AUDIOPOST_EFFECT_MULTIBAND_DRC, "compressor"), std::pair(AUDIOPOST_EFFECT_AGC, "AGC"),
        std::pair(AUDIOPOST_EFFECT_MAXIMIZER, "limiter")})
    if (!runs(record, flag)) text += (text.empty() ? "" : ", ") + std::string(name);
  return text;
}

}  // namespace audiopost
