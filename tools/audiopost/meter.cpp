// audiopost meter: ten bands and the loudness of a sound, live in the terminal or as a series of numbers.
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <thread>

#include "analysis/stages.h"
#include "format.h"
#include "host/loudness.h"
#include "interrupt.h"
#include "json.h"
#include "programme.h"
#include "terminal.h"

namespace audiopost {
namespace {

constexpr int kBands = 10;
constexpr int kStepsPerSecond = 20;
constexpr float kRise_ms = 60, kDecay_ms = 400;  // quick up, slow down, as eyes like it

struct Reading {
  double seconds;
  // Against a full-scale sine's peak; the louder channel. None of a band that the sample rate cannot carry.
  std::array<std::optional<int>, kBands> levels_dB;
  double momentary_lufs, short_term_lufs;
};

// The level detector of each channel and a loudness meter over all.
class Meter {
 public:
  Meter(int sample_rate, int channels, int block)
      : sample_rate_(sample_rate), channels_(channels), loudness_(sample_rate, channels) {
    const analysis::QuietLibrary quiet;
    for (int ch = 0; ch < channels; ++ch) {
      detectors_.emplace_back(LevelDetector_Init(16, sample_rate, channels, block), LevelDetector_Destroy);
      if (!detectors_.back()) throw std::bad_alloc();
      LevelDetector_SetPara(detectors_.back().get(), nullptr, kRise_ms, 0, kDecay_ms);
    }
    LevelDetectorResult result;
    LevelDetector_GetRes(detectors_.front().get(), &result);
    std::copy_n(result.freq, kBands, bands_hz_.begin());
  }

  // What follows the last whole block counts in the programme; the detectors, whose means are over whole blocks, would
  // read it low.
  void add_rest(const int16_t* pcm, int frames) { loudness_.add(pcm, frames); }

  Reading add(const int16_t* pcm, int frames) {  // one whole block
    loudness_.add(pcm, frames);
    Reading reading{static_cast<double>(loudness_.frames()) / sample_rate_,
                    {},
                    loudness_.momentary(),
                    loudness_.short_term()};
    for (size_t ch = 0; ch < detectors_.size(); ++ch) {
      LevelDetector_Process(detectors_[ch].get(), pcm + ch, static_cast<uint32_t>(frames));
      LevelDetectorResult result;
      LevelDetector_GetRes(detectors_[ch].get(), &result);
      for (size_t b = 0; b < kBands; ++b)
        if (2 * bands_hz_[b] < sample_rate_)
          reading.levels_dB[b] = std::max(reading.levels_dB[b].value_or(-100), int{result.level[b]});
    }
    return reading;
  }

  const std::array<int, kBands>& bands_hz() const { return bands_hz_; }
  const host::LoudnessMeter& loudness() const { return loudness_; }

 private:
  int sample_rate_, channels_;
  host::LoudnessMeter loudness_;
  std::vector<std::shared_ptr<LevelDetectorState>> detectors_;
  std::array<int, kBands> bands_hz_{};
};

std::string lufs(double value) { return std::isfinite(value) ? json::number(value, 1) : "-"; }
std::string level_text(std::optional<int> level_dB) { return level_dB ? std::to_string(*level_dB) : "-"; }

// ---- Live ----------------------------------------------------------------------------------------------------
bool terminal_knows_utf8() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"})
    if (const char* value = std::getenv(name); value && *value)
      return std::strstr(value, "UTF-8") || std::strstr(value, "utf8");
  return false;
}

// Redrawn in place: ten bars from -60 to 0 dB and a line of loudness; in a window too small for them one line, with a
// letter for each bar.
class Display {
 public:
  Display(bool color, int64_t frames, int sample_rate)
      : color_(color), utf8_(terminal_knows_utf8()), seconds_(static_cast<double>(frames) / sample_rate) {
    std::fputs("\033[?25l", stdout);  // the cursor would flicker
  }
  ~Display() {
    std::fputs(drawn_ && !bars_ ? "\n\033[?25h" : "\033[?25h", stdout);
    std::fflush(stdout);
  }
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;

  void show(const Meter& meter, const Reading& reading) {
    std::string text;
    const WindowSize window = window_size(STDOUT_FILENO);
    if (drawn_ && window != window_)
      text = "\033[H\033[J";  // how the new window broke the old lines is unknown
    else if (drawn_)
      text = bars_ ? "\033[" + std::to_string(kBands + 1) + "A" : "\r";
    window_ = window, drawn_ = true;
    // Bars of four characters at least, and the last column free: what wraps cannot be redrawn.
    bars_ = window.lines >= kBands + 2 && window.columns >= kBarText + 4 + 1;
    if (bars_)
      for (size_t b = 0; b < kBands; ++b) text += bar(meter.bands_hz()[b], reading.levels_dB[b]);
    text += "\033[K";
    if (!bars_) text += letters(reading);
    text += numbers(meter, reading, window.columns - 1 - (bars_ ? 0 : kBands)) + (bars_ ? "\n" : "");
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
  }

 private:
  static constexpr int kWidth = 48;    // of a bar
  static constexpr int kBarText = 19;  // characters beside it

  std::string bar(int hz, std::optional<int> level_dB) const {
    const int width = std::min(kWidth, window_.columns - 1 - kBarText);
    const int filled = level_dB ? std::clamp((*level_dB + 60) * width / 60, 0, width) : 0;
    std::string text = format("\033[K%7d Hz ", hz);
    if (color_ && level_dB) text += *level_dB > -6 ? "\033[31m" : *level_dB > -18 ? "\033[33m" : "\033[32m";
    for (int i = 0; i < filled; ++i) text += utf8_ ? "\u2588" : "#";
    if (color_) text += "\033[0m";
    for (int i = filled; i < width; ++i) text += utf8_ ? "\u00b7" : ".";
    return text + format(" %4s dB\n", level_text(level_dB).c_str());
  }

  std::string letters(const Reading& reading) const {
    static constexpr const char *kBlocks[] = {"\u2581", "\u2582", "\u2583", "\u2584",
                                              "\u2585", "\u2586", "\u2587", "\u2588"},
                                *kPlain[] = {"_", ".", "-", "=", "+", "*", "#", "@"};
    std::string text;
    for (const std::optional<int>& level : reading.levels_dB) {
      const int step = level ? std::clamp((*level + 60) * 8 / 60, 0, 7) : 0;
      text += !level ? " " : (utf8_ ? kBlocks : kPlain)[step];
    }
    return text;
  }

  // Loudness and time, as far as the columns reach.
  std::string numbers(const Meter& meter, const Reading& reading, int columns) const {
    std::string text;
    for (const std::string& part :
         {format(" M%6s", lufs(reading.momentary_lufs).c_str()),
          format(" S%6s", lufs(reading.short_term_lufs).c_str()),
          format(" I%6s LUFS", lufs(meter.loudness().integrated()).c_str()),
          format("%7.1f s", reading.seconds), seconds_ > 0 ? format(" of %.1f s", seconds_) : ""}) {
      if (static_cast<int>(text.size() + part.size()) > columns) break;
      text += part;
    }
    return text;
  }

  const bool color_, utf8_;
  const double seconds_;
  bool drawn_ = false, bars_ = false;  // bars_: as they were drawn last
  WindowSize window_{};
};

// ---- As numbers ----------------------------------------------------------------------------------------------
void print_head(const Meter& meter) {
  std::printf("%8s", "s");
  for (const int hz : meter.bands_hz()) std::printf("%6d", hz);
  std::printf("%8s%8s\n", "M", "S");
}

void print_row(const Reading& reading) {
  std::printf("%8.1f", reading.seconds);
  for (const auto& level : reading.levels_dB) std::printf("%6s", level_text(level).c_str());
  std::printf("%8s%8s\n", lufs(reading.momentary_lufs).c_str(), lufs(reading.short_term_lufs).c_str());
}

std::string reading_json(const Reading& reading) {
  std::vector<std::string> levels;
  for (const auto& level : reading.levels_dB) levels.push_back(level ? std::to_string(*level) : "null");
  return json::object({{"s", json::number(reading.seconds)},
                       {"levels_db", json::array(levels)},
                       {"momentary_lufs", json::number(reading.momentary_lufs, 2)},
                       {"short_term_lufs", json::number(reading.short_term_lufs, 2)}});
}

void print_json(const AudioInput& input, const Meter& meter, const std::vector<std::string>& series) {
  std::vector<std::string> bands;
  for (const int hz : meter.bands_hz()) bands.push_back(std::to_string(hz));
  const host::Programme programme = meter.loudness().programme();
  std::puts(json::object({{"source", json::string(input.name())},
                          {"sample_rate_hz", std::to_string(input.sample_rate())},
                          {"bands_hz", json::array(bands)},
                          {"series", json::array(series)},
                          {"integrated_lufs", json::number(programme.integrated_lufs, 2)},
                          {"loudness_range_lu", json::number(programme.range_lu, 2)},
                          {"true_peak_dbtp", json::number(programme.true_peak_dB, 2)}})
                .c_str());
}

// ---- The command ---------------------------------------------------------------------------------------------
struct MeterOptions : StreamOptions {
  bool json = false, fast = false;
};

void run_meter(const MeterOptions& options, const Context& context) {
  std::optional<RawFormat> raw;
  if (options.raw)
    raw = RawFormat{options.raw_rate ? options.raw_rate : 48000,
                    options.raw_channels ? options.raw_channels : 2};
  AudioInput input(options.in, raw);
  const int block = input.sample_rate() / kStepsPerSecond;
  Meter meter(input.sample_rate(), input.channels(), block);
  const bool live = !options.json && context.screen;
  std::unique_ptr<Display> display;

  const InterruptNoted interrupt;
  const auto start = std::chrono::steady_clock::now();
  std::vector<int16_t> pcm(static_cast<size_t>(block * input.channels()));
  std::vector<std::string> series;
  std::optional<Reading> unprinted;  // of a second that is not over
  for (int step = 0; !InterruptNoted::came(); ++step) {
    const int frames = input.read(pcm.data(), block);
    if (frames < block) {
      meter.add_rest(pcm.data(), frames);
      break;
    }
    const Reading reading = meter.add(pcm.data(), block);
    if (options.json) {
      series.push_back(reading_json(reading));
    } else if (live) {
      if (!display) display = std::make_unique<Display>(context.color, input.frames(), input.sample_rate());
      display->show(meter, reading);
      if (!options.fast)
        std::this_thread::sleep_until(start + std::chrono::milliseconds(1000 / kStepsPerSecond * (step + 1)));
    } else {
      if (step == 0) print_head(meter);
      unprinted = reading;
      if ((step + 1) % kStepsPerSecond != 0) continue;
      print_row(reading);
      unprinted.reset();
    }
  }
  display.reset();
  if (unprinted) print_row(*unprinted);
  if (options.json) {
    print_json(input, meter, series);
  } else {
    const host::Programme p = meter.loudness().programme();
    std::printf("integrated %s LUFS, range %s LU, true peak %s dBTP\n", lufs(p.integrated_lufs).c_str(),
                lufs(p.range_lu).c_str(), lufs(p.true_peak_dB).c_str());
  }
}

}  // namespace

void add_meter(CLI::App& app, Context& context) {
  CLI::App* const command = app.add_subcommand("meter", "Show ten bands and the loudness of a sound, live");
  const auto options = std::make_shared<MeterOptions>();
  command->add_option("IN", options->in, "Sound file, or - for standard input")->required();
  CLI::Option* const raw = command->add_flag(
      "--raw", options->raw,
      "Headerless PCM (16 bit, little-endian, interleaved) where the name's ending does not say otherwise");
  command->add_option("--rate", options->raw_rate, "Sample rate of headerless PCM in Hz (default: 48000)")
      ->needs(raw)
      ->check(CLI::Range(kLowestRate, kHighestRate))
      ->type_name("HZ");
  command->add_option("--channels", options->raw_channels, "Channels of headerless PCM (default: 2)")
      ->needs(raw)
      ->check(CLI::Range(1, 2))
      ->type_name("N");
  command->add_flag("--fast", options->fast, "Do not wait for the clock");
  command->add_flag("--json", options->json, "Print the series of readings, twenty a second, as JSON");
  command->callback([options, &context] { run_meter(*options, context); });
}

}  // namespace audiopost
