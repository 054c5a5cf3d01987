#include "programme.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "format.h"
#include "interrupt.h"
#include "json.h"
#include "terminal.h"

namespace audiopost {
namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// A bar that is redrawn in place, ten times a second at most, and gone when the work is done.
class ProgressBar {
 public:
  ProgressBar(bool shown, bool color, int64_t frames, int sample_rate)
      : shown_(shown), color_(color), frames_(frames), sample_rate_(sample_rate) {}
  ~ProgressBar() {
    if (drawn_) std::fputs("\r\033[K", stderr);
  }
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void show(int64_t done) {
    if (!shown_ || (drawn_ && seconds_since(last_) < 0.1)) return;
    last_ = Clock::now();
    const double seconds = static_cast<double>(done) / sample_rate_, speed = seconds / seconds_since(start_);
    const int room = window_size(STDERR_FILENO).columns - 1;  // what wraps cannot be redrawn
    std::string text =
        frames_ > 0 ? format(" %3d %%", static_cast<int>(100 * done / frames_)) : format("%.1f s", seconds);
    const std::string pace = format("  %.0f x real time", speed);
    const int least = frames_ > 0 ? 10 : 0;  // of the bar
    if (least + static_cast<int>(text.size() + pace.size()) <= room) text += pace;
    const int width = frames_ > 0 ? std::clamp(room - static_cast<int>(text.size()), 0, 40) : 0;
    const auto filled = frames_ > 0 ? static_cast<size_t>(width * done / frames_) : 0;
    std::fprintf(stderr, "\r\033[K%s%s%s%s%s", color_ ? "\033[36m" : "", std::string(filled, '#').c_str(),
                 color_ ? "\033[0m" : "", std::string(static_cast<size_t>(width) - filled, '.').c_str(),
                 text.c_str());
    drawn_ = true;
  }

 private:
  const bool shown_, color_;
  const int64_t frames_;
  const int sample_rate_;
  const Clock::time_point start_ = Clock::now();
  Clock::time_point last_ = start_;
  bool drawn_ = false;
};

std::string one_decimal(double x) { return std::isfinite(x) ? json::number(x, 1) : "-"; }

std::string programme_json(const host::Programme& p) {
  return json::object({{"integrated_lufs", json::number(p.integrated_lufs)},
                       {"loudness_range_lu", json::number(p.range_lu)},
                       {"true_peak_dbtp", json::number(p.true_peak_dB)},
                       {"sample_peak_dbfs", json::number(p.sample_peak_dB)},
                       {"crest_db", json::number(p.crest_dB())},
                       {"full_scale_samples", std::to_string(p.full_scale_samples)}});
}

}  // namespace

// ---- What to run -----------------------------------------------------------------------------------------------
std::optional<RawFormat> StreamOptions::raw_format(const host::Record& record) const {
  if (!raw) return std::nullopt;
  return RawFormat{raw_rate ? raw_rate : host::field_as_int(record, AUDIOPOST_SAMPLE_RATE),
                   raw_channels ? raw_channels : host::field_as_int(record, AUDIOPOST_CHANNELS), tuning};
}

void add_stream_options(CLI::App& command, StreamOptions& options) {
  CLI::Option* const raw = command.add_flag(
      "--raw", options.raw,
      "Headerless PCM (16 bit, little-endian, interleaved) where no name's ending says otherwise");
  command
      .add_option("--rate", options.raw_rate, "Sample rate of headerless PCM in Hz (default: the tuning's)")
      ->needs(raw)
      ->check(CLI::Range(kLowestRate, kHighestRate))
      ->type_name("HZ");
  command
      .add_option("--channels", options.raw_channels, "Channels of headerless PCM (default: the tuning's)")
      ->needs(raw)
      ->check(CLI::Range(1, 2))
      ->type_name("N");
  command
      .add_option(
          "--block", options.block,
          "Frames the chain takes at a time; enters its time constants (default: 1024, or auto gain's "
          "step where that is shorter)")
      ->check(CLI::Range(1, 65536))
      ->type_name("FRAMES");
}

// ---- Running it ------------------------------------------------------------------------------------------------
Run run_programme(AudioInput& input, const Tuning& tuning, AudioOutput* output, const RunOptions& options) {
  const int channels = input.channels(), block = options.block;
  const analysis::Chain chain = analysis::make_chain(tuning.record, block);
  analysis::GainTrace trace(tuning.record, block);
  host::LoudnessMeter before(input.sample_rate(), channels), after(input.sample_rate(), channels);
  Run run;
  run.source = input.name(), run.tuning = tuning.name;
  run.sample_rate = input.sample_rate(), run.channels = channels, run.block = block;

  ProgressBar bar(options.progress, options.color, input.frames(), input.sample_rate());
  std::vector<int16_t> pcm(static_cast<size_t>(block * channels));
  for (int frames = block; frames == block;) {
    frames = input.read(pcm.data(), block);
    if (InterruptNoted::came()) throw Failure("interrupted");
    if (frames == 0 || (frames < block && options.whole_blocks_only)) break;
    std::fill(pcm.begin() + frames * channels, pcm.end(), int16_t{0});
    before.add(pcm.data(), frames);
    trace.add(pcm.data());
    const Clock::time_point start = Clock::now();
    AudioPost_Process(chain.get(), pcm.data(), pcm.data(), channels, block);
    run.chain_seconds += seconds_since(start);
    after.add(pcm.data(), frames);
    if (output) output->write(pcm.data(), frames);
    bar.show(before.frames());
  }
  run.before = before.programme(), run.after = after.programme();
  run.before_lufs = before.short_term_series(), run.after_lufs = after.short_term_series();
  run.gains = trace.gains(), run.clipped = trace.clipped();
  return run;
}

// ---- Report ----------------------------------------------------------------------------------------------------
std::string report_text(const Run& run, bool color) {
  const char *bold = color ? "\033[1m" : "", *plain = color ? "\033[0m" : "";
  std::string text;
  text += format("%s%s%s, %s tuning\n", bold, run.source.c_str(), plain, run.tuning.c_str());
  text +=
      format("%d Hz %s, %.2f s, the chain took %.3f s: %.0f x real time\n\n", run.sample_rate,
             run.channels == 1 ? "mono" : "stereo", run.seconds(), run.chain_seconds, run.times_real_time());
  text += format("%s%-22s%9s%9s%s\n", bold, "", "before", "after", plain);
  const auto row = [&](const char* name, double a, double b, const char* unit) {
    text += format("%-22s%9s%9s  %s\n", name, one_decimal(a).c_str(), one_decimal(b).c_str(), unit);
  };
  row("integrated loudness", run.before.integrated_lufs, run.after.integrated_lufs, "LUFS");
  row("loudness range", run.before.range_lu, run.after.range_lu, "LU");
  row("true peak", run.before.true_peak_dB, run.after.true_peak_dB, "dBTP");
  row("sample peak", run.before.sample_peak_dB, run.after.sample_peak_dB, "dBFS");
  row("crest factor", run.before.crest_dB(), run.after.crest_dB(), "dB");
  text += format("%-22s%9lld%9lld\n", "samples at full scale",
                 static_cast<long long>(run.before.full_scale_samples),
                 static_cast<long long>(run.after.full_scale_samples));
  text += format("%-22s%18lld\n", "clipped by the chain", static_cast<long long>(run.clipped));
  if (!run.gains.empty())
    text += format("\n%s%-22s%9s%9s%9s%s\n", bold, "gain applied", "least", "mean", "most", plain);
  for (const analysis::StageGain& gain : run.gains)
    text += format("%-22s%9s%9s%9s  dB\n", gain.name, signed_number(gain.lowest()).c_str(),
                   signed_number(gain.mean()).c_str(), signed_number(gain.highest()).c_str());
  return text;
}

std::string report_json(const Run& run) {
  json::Fields gains;
  for (const analysis::StageGain& gain : run.gains)
    gains.emplace_back(gain.name, json::object({{"least_db", json::number(gain.lowest())},
                                                {"mean_db", json::number(gain.mean())},
                                                {"most_db", json::number(gain.highest())}}));
  return json::object({{"source", json::string(run.source)},
                       {"tuning", json::string(run.tuning)},
                       {"sample_rate_hz", std::to_string(run.sample_rate)},
                       {"channels", std::to_string(run.channels)},
                       {"block_frames", std::to_string(run.block)},
                       {"frames", std::to_string(run.before.frames)},
                       {"duration_s", json::number(run.seconds(), 6)},
                       {"chain_s", json::number(run.chain_seconds, 6)},
                       {"times_real_time", json::number(run.times_real_time(), 1)},
                       {"before", programme_json(run.before)},
                       {"after", programme_json(run.after)},
                       {"gain", json::object(gains)},
                       {"clipped_samples", std::to_string(run.clipped)}});
}

}  // namespace audiopost
