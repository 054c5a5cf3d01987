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

void print_notes(const ProcessOptions& options, const AudioInput& input, const Run& run) {
  const char* const name = input.name().c_str();
  if (input.clipped())
    std::fprintf(stderr, "audiopost: note: %s: %lld samples lie beyond full scale and were clipped\n", name,
                 static_cast<long long>(input.clipped()));
  if (run.before.frames == 0)
    std::fprintf(
        stderr,
        "audiopost: note: %s: is shorter than a block of %d frames, which --driver-compatible leaves "
        "out: %s is empty\n",
        name, run.block, options.out == "-" ? "standard output" : options.out.c_str());
}

void process(const ProcessOptions& options, const Context& context) {
  const InterruptNoted interrupt;  // first of all: from here on an unfinished output is taken away
  Tuning tuning = load_tuning(options.tuning);
  require_other_file(options.out, options.in, "the input");
  require_other_file(options.out, tuning.file, "the tuning");
  AudioInput input(options.in, options.raw_format(tuning.record));
  const int block = options.block == 0 && options.driver_compatible ? kBlock : options.block;
  const Suited suited = suit_to_stream(tuning, input, block, options.driver_compatible);
  AudioOutput output(options.out, options.raw, input.sample_rate(), input.channels());

  RunOptions run_options;
  run_options.block = suited.block;
  run_options.whole_blocks_only = options.driver_compatible;
  run_options.progress = context.progress && !options.quiet && !options.json;
  run_options.color = context.color;
  const Run run = run_programme(input, tuning, &output, run_options);
  output.commit();

  suited.print(options.quiet);
  if (!options.quiet) print_notes(options, input, run);
  if (options.quiet && !options.json) return;
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
  command->add_flag("-q,--quiet", options->quiet,
                    "No notes, no progress bar, and a report only with --json; warnings stay");
  command->callback([options, &context] { process(*options, context); });
}

}  // namespace audiopost
