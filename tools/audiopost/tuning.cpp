// audiopost tuning: write, read and check tuning records.
#include <cstdio>
#include <memory>

#include "app.h"
#include "host/file.h"
#include "host/tuning.h"

namespace audiopost {

void add_tuning(CLI::App& app, Context&) {
  CLI::App* const tuning = app.add_subcommand("tuning", "Write, read and check tuning records");
  tuning->require_subcommand(1);

  CLI::App* const create = tuning->add_subcommand("new", "Print a preset as text, to start from");
  const auto preset = std::make_shared<std::string>("music");
  create->add_option("--preset", *preset, "music, speech, night, tv or flat")
      ->check(CLI::IsMember(host::preset_names()))
      ->capture_default_str();
  create->callback([preset] { host::write_file("-", host::preset_text(*preset)); });
}

}  // namespace audiopost
