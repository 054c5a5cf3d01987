// audiopost plot: a tuning's curves as a picture.
#include <memory>

#include "charts.h"
#include "host/file.h"
#include "load.h"

namespace audiopost {

void add_plot(CLI::App& app, Context&) {
  struct Options {
    std::string tuning, out = "-";
  };
  CLI::App* const command =
      app.add_subcommand("plot", "Draw a tuning's curves, designed and measured, as SVG");
  const auto options = std::make_shared<Options>();
  command->add_option("T", options->tuning, "Tuning record, TOML text or 2000 bytes, or the name of a preset")
      ->required();
  command->add_option("-o,--output", options->out, "SVG file; - is standard output")
      ->type_name("FILE")
      ->capture_default_str();
  command->callback([options] {
    const Tuning tuning = load_tuning(options->tuning);
    require_other_file(options->out, tuning.file, "the tuning");
    const std::vector<std::string> warnings =
        require_usable(tuning, longest_block(tuning.record, kBlock), false);
    require_measurable(tuning);
    const std::string off = effects_off(tuning.record);
    const std::vector<Chart> charts = tuning_charts(tuning.record);
    if (charts.empty()) throw Failure(tuning.name + ": nothing to draw: no effect with a curve is on");
    host::write_file(options->out, svg_page(tuning.name, off.empty() ? "" : "off: " + off, charts));
    print_warnings(warnings);
  });
}

}  // namespace audiopost
