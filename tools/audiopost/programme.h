// Sound through a chain, and what became of it: what process, measure and report share.
#pragma once

#include <string>
#include <vector>

#include "analysis/stages.h"
#include "host/loudness.h"
#include "suit.h"

namespace audiopost {

// ---- What to run -----------------------------------------------------------------------------------------------
struct StreamOptions {
  std::string in, tuning = "music";
  bool raw = false;
  int raw_rate = 0, raw_channels = 0;  // 0: as the record says
  int block = 0;                       // 0: as suit_to_stream finds it

  std::optional<RawFormat> raw_format(const host::Record& record) const;
};
void add_stream_options(CLI::App& command, StreamOptions& options);  // --raw, --rate, --channels, --block

// ---- Running it ------------------------------------------------------------------------------------------------
struct Run {
  std::string source, tuning;
  int sample_rate = 0, channels = 0, block = 0;
  double chain_seconds = 0;  // spent in the chain alone
  host::Programme before{}, after{};
  std::vector<double> before_lufs, after_lufs;  // short-term, every 100 ms
  std::vector<analysis::StageGain> gains;
  int64_t clipped = 0;  // output samples that the chain had to clamp

  double seconds() const { return static_cast<double>(before.frames) / sample_rate; }
  double times_real_time() const {
    return chain_seconds > 0 ? seconds() / chain_seconds : 0;
  }  // 0: nothing ran
};

struct RunOptions {
  int block = kBlock;
  bool whole_blocks_only = false;  // leave out a last partial block; else it is padded, processed and cut
  bool progress = false;           // show a bar on standard error
  bool color = false;
};

// Runs `input` through a chain; `output` may be null. The record must suit the stream. Throws Failure when an
// InterruptNoted of the caller's has heard of one.
Run run_programme(AudioInput& input, const Tuning& tuning, AudioOutput* output, const RunOptions& options);

// The closing report, for people and for programs.
std::string report_text(const Run& run, bool color);
std::string report_json(const Run& run);

}  // namespace audiopost
