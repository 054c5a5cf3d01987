// audiopost measure: what a tuning's chain does to test signals, in numbers.
#include <cmath>
#include <cstdio>
#include <memory>

#include "analysis/measurements.h"
#include "format.h"
#include "json.h"
#include "programme.h"

namespace audiopost {
namespace {

using namespace analysis;
using namespace host;

struct MeasureOptions : StreamOptions {
  double sweep_dB = -20;
  std::vector<double> tones_hz = {100, 1000, 6000}, levels_dB = {-40, -20, -6, -1};
  bool tones_chosen = false, json = false;
};

struct NamedCurve {
  std::string stage;
  int channel;
  Curve points;
};

struct Measurements {
  std::vector<double> hz;
  std::vector<std::vector<double>> response_dB;  // per channel, at those frequencies
  std::vector<Distortion> distortion;
  std::vector<NamedCurve> curves;
  int latency_frames;
};

// Third-octave centres that the sample rate can carry.
std::vector<double> third_octaves(double sample_rate) {
  static constexpr double kDecade[] = {1, 1.25, 1.6, 2, 2.5, 3.15, 4, 5, 6.3, 8};
  std::vector<double> centres;
  for (const double decade : {10, 100, 1000, 10000})
    for (const double step : kDecade)
      if (decade * step >= 20 && decade * step <= std::min(20000.0, 0.49 * sample_rate))
        centres.push_back(decade * step);
  return centres;
}

Measurements measure(const host::Record& record, const MeasureOptions& options) {
  Measurements m;
  const double rate = host::field_as_int(record, AUDIOPOST_SAMPLE_RATE);
  m.hz = third_octaves(rate);
  for (const Response& channel : chain_response(record, options.sweep_dB)) {
    m.response_dB.emplace_back();
    for (const double hz : m.hz) m.response_dB.back().push_back(to_dB(std::abs(channel.at(hz))));
  }
  for (const double hz : options.tones_hz)
    for (const double level : options.levels_dB)
      if (hz < rate / 2) m.distortion.push_back(distortion(record, hz, level));
  for (int ch = 0; ch < distinct_channels(record); ++ch) {
    if (runs(record, AUDIOPOST_EFFECT_MULTIBAND_DRC)) {
      const std::vector<CompressorBand> bands = compressor_bands(record, ch);
      for (size_t b = 0; b < bands.size(); ++b)
        m.curves.push_back({bands[b].name, ch, compressor_curve(record, ch, b)});
    }
    if (runs(record, AUDIOPOST_EFFECT_AGC)) m.curves.push_back({"AGC", ch, agc_curve(record, ch)});
    if (runs(record, AUDIOPOST_EFFECT_MAXIMIZER))
      m.curves.push_back({"limiter", ch, limiter_curve(record, ch)});
  }
  m.latency_frames = latency(record);
  return m;
}

void print_table(const Tuning& tuning, const Measurements& m, const MeasureOptions& options) {
  std::printf("%s, %d Hz\n\nresponse of the chain to a sweep at %g dBFS\n%10s", tuning.name.c_str(),
              host::field_as_int(tuning.record, AUDIOPOST_SAMPLE_RATE), options.sweep_dB, "Hz");
  for (size_t ch = 0; ch < m.response_dB.size(); ++ch)
    std::printf("%9s", m.response_dB.size() == 1 ? "mono" : ch == 0 ? "left" : "right");
  for (size_t i = 0; i < m.hz.size(); ++i) {
    std::printf("\n%10g", m.hz[i]);
    for (const auto& channel : m.response_dB) std::printf("%9s", signed_number(channel[i], 2).c_str());
  }
  std::printf("  dB\n\ndistortion of a tone, settled\n%10s%9s%9s%9s%9s\n", "Hz", "in", "out", "THD", "THD+N");
  for (const Distortion& d : m.distortion)
    std::printf("%10g%9.1f%9.1f%9s%9.1f  dB%s\n", d.hz, d.level_dB, d.out_dB,
                std::isfinite(d.thd_dB) ? format("%.1f", d.thd_dB).c_str() : "-", d.thdn_dB,
                d.settled ? "" : format(", not settled after %d s", kLongestWait).c_str());
  if (!m.curves.empty()) {
    std::printf("\nstatic curves: settled output, dBFS\n%10s", "in");
    const bool two = m.curves.back().channel == 1;
    for (const NamedCurve& curve : m.curves)
      std::printf("%10s", (curve.stage + (two ? curve.channel ? " R" : " L" : "")).c_str());
    for (size_t i = 0; i < m.curves.front().points.size(); i += 2) {
      std::printf("\n%10.1f", m.curves.front().points[i].in_dB);
      for (const NamedCurve& curve : m.curves) std::printf("%10.1f", curve.points[i].out_dB);
    }
    std::printf("\n");
  }
  if (m.latency_frames < 0)
    std::printf("\nlatency: a click does not come through\n");
  else
    std::printf("\nlatency %d frames, beside the %d frames that a block collects\n", m.latency_frames,
                kMeasureBlock);
}

std::string measurements_json(const Tuning& tuning, const Measurements& m, const MeasureOptions& options,
                              const std::string& programme) {
  std::vector<std::string> responses, tones, curves;
  for (const auto& channel : m.response_dB) responses.push_back(json::numbers(channel));
  for (const Distortion& d : m.distortion)
    tones.push_back(json::object({{"hz", json::number(d.hz)},
                                  {"in_dbfs", json::number(d.level_dB)},
                                  {"out_dbfs", json::number(d.out_dB)},
                                  {"thd_db", json::number(d.thd_dB)},
                                  {"thdn_db", json::number(d.thdn_dB)},
                                  {"settled", d.settled ? "true" : "false"}}));
  for (const NamedCurve& curve : m.curves) {
    std::vector<double> in, out;
    for (const CurvePoint& point : curve.points) in.push_back(point.in_dB), out.push_back(point.out_dB);
    curves.push_back(json::object({{"stage", json::string(curve.stage)},
                                   {"channel", std::to_string(curve.channel)},
                                   {"in_dbfs", json::numbers(in)},
                                   {"out_dbfs", json::numbers(out)}}));
  }
  json::Fields fields = {
      {"tuning", json::string(tuning.name)},
      {"sample_rate_hz", std::to_string(host::field_as_int(tuning.record, AUDIOPOST_SAMPLE_RATE))},
      {"response", json::object({{"sweep_dbfs", json::number(options.sweep_dB)},
                                 {"hz", json::numbers(m.hz)},
                                 {"channels_db", json::array(responses)}})},
      {"distortion", json::array(tones)},
      {"static_curves", json::array(curves)},
      {"latency_frames", std::to_string(m.latency_frames)},
      {"block_frames", std::to_string(kMeasureBlock)}};
  if (!programme.empty()) fields.emplace_back("programme", programme);
  return json::object(fields);
}

void run_measure(const MeasureOptions& options, const Context& context) {
  Tuning tuning = load_tuning(options.tuning);
  Suited suited{0, {}, require_usable(tuning, longest_block(tuning.record, kMeasureBlock), false)};
  require_measurable(tuning);
  std::string text, programme;
  if (!options.in.empty()) {  // first, so that a bad input shows before the long work
    AudioInput input(options.in, options.raw_format(tuning.record));
    suited = suit_to_stream(tuning, input, options.block);
    RunOptions run_options;
    run_options.block = suited.block;
    const Run run = run_programme(input, tuning, nullptr, run_options);
    text = report_text(run, context.color), programme = report_json(run);
  }
  const int rate = host::field_as_int(tuning.record, AUDIOPOST_SAMPLE_RATE);
  for (const double hz : options.tones_hz)
    if (options.tones_chosen && hz >= rate / 2.0)
      throw Failure("--tones: " + format("%g", hz) + " Hz is not below half the sample rate of " +
                    std::to_string(rate) + " Hz");
  const Measurements m = measure(tuning.record, options);
  suited.print();
  if (options.json) {
    std::puts(measurements_json(tuning, m, options, programme).c_str());
    return;
  }
  print_table(tuning, m, options);
  if (!text.empty()) std::printf("\n%s", text.c_str());
}

}  // namespace

void add_measure(CLI::App& app, Context& context) {
  CLI::App* const command =
      app.add_subcommand("measure", "Measure what a tuning does: response, distortion, curves");
  const auto options = std::make_shared<MeasureOptions>();
  command->add_option("T", options->tuning, "Tuning: a file (TOML text or 2000 bytes), or a preset's name")
      ->required();
  command->add_option("IN", options->in, "Sound file to run as well, at whose sample rate all is measured");
  command->add_option("--sweep-level", options->sweep_dB, "Peak level of the sweep, dBFS")
      ->check(CLI::Range(-80, 0))
      ->capture_default_str();
  CLI::Option* const tones =
      command->add_option("--tones", options->tones_hz, "Tones to measure distortion with, Hz");
  tones->check(CLI::Range(1, 100000))->capture_default_str();
  command->add_option("--levels", options->levels_dB, "Their levels, dBFS")
      ->check(CLI::Range(-90, 0))
      ->capture_default_str();
  add_stream_options(*command, *options);
  command->add_flag("--json", options->json, "Print everything as JSON");
  command->callback([options, tones, &context] {
    options->tones_chosen = tones->count() > 0;
    run_measure(*options, context);
  });
}

}  // namespace audiopost
