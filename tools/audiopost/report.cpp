// audiopost report: a tuning and what it did to a sound, as one self-contained HTML page.
#include <algorithm>
#include <cmath>
#include <memory>

#include "charts.h"
#include "format.h"
#include "host/file.h"
#include "json.h"
#include "programme.h"

namespace audiopost {
namespace {

constexpr size_t kMostPoints = 1200;  // of a line over time: about two a pixel

// Values at equal steps of time; of a long series the lowest and the highest of every so many, so that the page stays
// small and shows the extremes that the tables tell.
Points over_time(const std::vector<double>& values, double step_seconds) {
  const auto point = [&](size_t i) {
    return std::pair(static_cast<double>(i + 1) * step_seconds, values[i]);
  };
  const size_t stride = values.size() <= kMostPoints ? 1 : 2 * values.size() / kMostPoints + 1;
  Points points;
  for (size_t i = 0; i < values.size(); i += stride) {
    size_t low = i, high = i;
    for (size_t k = i; k < std::min(i + stride, values.size()); ++k) {
      if (!std::isfinite(values[k])) continue;
      if (!std::isfinite(values[low]) || values[k] < values[low]) low = k;
      if (!std::isfinite(values[high]) || values[k] > values[high]) high = k;
    }
    points.push_back(point(std::min(low, high)));
    if (low != high) points.push_back(point(std::max(low, high)));
  }
  return points;
}

Axis level_axis(const std::string& label, const std::vector<Series>& series, double low, double high,
                double lowest) {
  for (const Series& one : series)
    for (const auto& point : one.points)
      if (std::isfinite(point.second)) low = std::min(low, point.second), high = std::max(high, point.second);
  return {label, std::max(lowest, 6 * std::floor(low / 6)), 6 * std::ceil(high / 6)};
}

Chart loudness_chart(const Run& run) {
  Chart chart{"Loudness over time",
              "short-term, over the 3 s before each point",
              {"time, s", 0, run.seconds()},
              {},
              {}};
  chart.series = {{"before", 8, Mark::thick, over_time(run.before_lufs, 0.1)},
                  {"after", 1, Mark::thick, over_time(run.after_lufs, 0.1)}};
  chart.y = level_axis("LUFS", chart.series, -24, -18, -70);
  return chart;
}

Chart gain_chart(const Run& run) {
  Chart chart{
      "Gain over time",
      "of the stages that ride the level; of a long sound the least and the most of neighbouring blocks",
      {"time, s", 0, run.seconds()},
      {},
      {}};
  int color = 1;
  for (const analysis::StageGain& gain : run.gains)
    chart.series.push_back({gain.name, color++, Mark::thin,
                            over_time(gain.series, static_cast<double>(run.block) / run.sample_rate)});
  chart.y = level_axis("gain, dB", chart.series, -6, 6, -60);
  return chart;
}

std::string number(double x) { return std::isfinite(x) ? json::number(x, 1) : "\u2013"; }

std::string gain(double dB) { return std::isfinite(dB) ? signed_number(dB) : "\u2013"; }

std::string row(const std::string& name, const std::vector<std::string>& cells) {
  std::string text = "<tr><th scope='row'>" + name + "</th>";
  for (const std::string& cell : cells) text += "<td>" + cell + "</td>";
  return text + "</tr>\n";
}

std::string programme_table(const Run& run) {
  const host::Programme &a = run.before, &b = run.after;
  std::string text = "<table><tr><td></td><th>before</th><th>after</th><th></th></tr>\n";
  text += row("integrated loudness", {number(a.integrated_lufs), number(b.integrated_lufs), "LUFS"});
  text += row("loudness range", {number(a.range_lu), number(b.range_lu), "LU"});
  text += row("true peak", {number(a.true_peak_dB), number(b.true_peak_dB), "dBTP"});
  text += row("sample peak", {number(a.sample_peak_dB), number(b.sample_peak_dB), "dBFS"});
  text += row("crest factor", {number(a.crest_dB()), number(b.crest_dB()), "dB"});
  text += row("samples at full scale",
              {std::to_string(a.full_scale_samples), std::to_string(b.full_scale_samples), ""});
  return text + row("clipped by the chain", {"", std::to_string(run.clipped), ""}) + "</table>\n";
}

std::string gain_table(const Run& run) {
  std::string text = "<table><tr><td></td><th>least</th><th>mean</th><th>most</th><th></th></tr>\n";
  for (const analysis::StageGain& stage : run.gains)
    text += row(stage.name, {gain(stage.lowest()), gain(stage.mean()), gain(stage.highest()), "dB"});
  return text + "</table>\n";
}

// Follows the viewer's light or dark like the charts do.
constexpr const char* kPageStyle = R"(
body{margin:0;background:#fff;color:#222;font:15px/1.45 system-ui,'DejaVu Sans',sans-serif}
main{max-width:1320px;margin:0 auto;padding:24px}
h1{font-size:24px;margin:0} h2{font-size:18px;margin:32px 0 8px} p{color:#666;margin:4px 0 20px}
.charts{display:grid;margin-top:16px;grid-template-columns:repeat(auto-fit,minmax(min(100%,480px),1fr));gap:16px}
.tables{display:flex;flex-wrap:wrap;gap:16px 64px;align-items:flex-start} .charts svg{width:100%;height:auto}
table{border-collapse:collapse;font-variant-numeric:tabular-nums}
th,td{padding:4px 10px;border-bottom:1px solid #dcdcd8;text-align:right;font-weight:400}
th[scope]{text-align:left;padding-left:0} td:last-child{text-align:left;color:#666}
@media(prefers-color-scheme:dark){body{background:#16181c;color:#e8e8e6} p,td:last-child{color:#9a9fa8}
th,td{border-color:#33373f}}
)";

std::string page(const Run& run, const host::Record& record) {
  std::string text =
      "<!doctype html>\n<html lang='en'><head><meta charset='utf-8'>\n"
      "<meta name='viewport' content='width=device-width,initial-scale=1'>\n"
      "<meta name='color-scheme' content='light dark'>\n<title>";
  const std::string off = effects_off(record), source = escaped(run.source), tuning = escaped(run.tuning);
  text += source + ", " + tuning + "</title>\n<style>" + svg_style() + kPageStyle +
          "</style></head>\n<body><main>\n";
  text += "<h1>" + source + "</h1>\n<p>through the tuning " + tuning + " at " +
          std::to_string(run.sample_rate) + " Hz " + (run.channels == 1 ? "mono" : "stereo") + ", " +
          json::number(run.seconds(), 1) + " s, " + json::number(run.times_real_time(), 0) +
          " \u00d7 real time" + (off.empty() ? "" : "; off: " + off) + "</p>\n";
  text += "<div class='tables'>\n" + programme_table(run);
  if (!run.gains.empty()) text += gain_table(run);
  text += "</div>\n<div class='charts'>\n" + svg_chart(loudness_chart(run));
  if (!run.gains.empty()) text += svg_chart(gain_chart(run));
  text += "</div>\n<h2>The tuning, designed and measured</h2>\n<div class='charts'>\n";
  for (const Chart& chart : tuning_charts(record)) text += svg_chart(chart);
  return text + "</div>\n</main></body></html>\n";
}

}  // namespace

void add_report(CLI::App& app, Context& context) {
  struct Options : StreamOptions {
    std::string out;
  };
  CLI::App* const command =
      app.add_subcommand("report", "Show what a tuning did to a sound, as one HTML page");
  const auto options = std::make_shared<Options>();
  command->add_option("T", options->tuning, "Tuning: a file (TOML text or 2000 bytes), or a preset's name")
      ->required();
  command->add_option("IN", options->in, "Sound file, or - for standard input")->required();
  command->add_option("-o,--output", options->out, "HTML file; - is standard output")
      ->type_name("FILE")
      ->required();
  add_stream_options(*command, *options);
  command->callback([options, &context] {
    Tuning tuning = load_tuning(options->tuning);
    require_other_file(options->out, options->in, "the input");
    require_other_file(options->out, tuning.file, "the tuning");
    AudioInput input(options->in, options->raw_format(tuning.record));
    const Suited suited = suit_to_stream(tuning, input, options->block);
    RunOptions run_options;
    run_options.block = suited.block;
    run_options.progress = context.progress;
    run_options.color = context.color;
    const Run run = run_programme(input, tuning, nullptr, run_options);
    host::write_file(options->out, page(run, tuning.record));
    suited.print();
  });
}

}  // namespace audiopost
