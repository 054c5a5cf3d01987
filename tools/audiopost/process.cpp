// audiopost process: a sound file or stream through the chain, with a closing report.
#include <cstdio>
#include <memory>

#include "interrupt.h"
#include "programme.h"

namespace audiopost {
namespace {

struct ProcessOptions : StreamOptions {
  std::string out;
  bool driver_compatible = false, json = false, quiet = false;
};

void process(const ProcessOptions& options, const Context& context) {
  const InterruptNoted interrupt;  // first of all: from here on an unfinished output is taken away
  Tuning tuning = load_tuning(options.tuning);
  AudioInput input(options.in, options.raw_format(tuning.record));
  const auto notes = fit_to_stream(tuning, input.sample_rate(), input.channels(), options.block);
  AudioOutput output(options.out, options.raw, input.sample_rate(), input.channels());

  RunOptions run_options;
  run_options.block = options.block;
  run_options.whole_blocks_only = options.driver_compatible;
  run_options.progress = context.progress && !options.quiet && !options.json;
  run_options.color = context.color;
  const Run run = run_programme(input, tuning, &output, run_options);
  output.commit();

  if (options.quiet && !options.json) return;
  if (!options.quiet) {
    for (const std::string& note : notes) std::fprintf(stderr, "audiopost: %s\n", note.c_str());
    if (input.clipped())
      std::fprintf(stderr, "audiopost: note: %s: %lld samples lie beyond full scale and were clipped\n",
                   input.name().c_str(), static_cast<long long>(input.clipped()));
  }
  FILE* const to = options.out == "-" ? stderr : stdout;
  std::fputs(options.json ? (report_json(run) + "\n").c_str() : report_text(run, context.color).c_str(), to);
}

}  // namespace

void add_process(CLI::App& app, Context& context) {
  CLI::App* const command = app.add_subcommand("process", "Run a sound file or stream through the chain");
  const auto options = std::make_shared<ProcessOptions>();
  command->add_option("IN", options->in, "Sound file, or - for standard input")->required();
  command
      ->add_option("OUT", options->out, "Sound file (the kind follows the ending), or - for standard output")
      ->required();
  command
      ->add_option("-t,--tuning", options->tuning,
                   "Tuning: a file (TOML text or 2000 bytes), or a preset's name")
      ->type_name("T")
      ->capture_default_str();
  add_stream_options(*command, *options);
  command->add_flag("--driver-compatible", options->driver_compatible,
                    "Leave out a last partial block, as process_file does");
  command->add_flag("--json", options->json, "Print the closing report as JSON");
  command->add_flag("-q,--quiet", options->quiet, "No notes, no progress bar, and a report only with --json");
  command->callback([options, &context] { process(*options, context); });
}

}  // namespace audiopost
