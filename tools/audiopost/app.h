// What the command groups of audiopost share. Each group is one file with an add_…() that hangs its commands
// into the application; a command's callback does the work and sets the exit code.
#pragma once

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <string>

namespace audiopost {

// Exit codes: 0 done, 1 done and the answer is no (check, diff), 2 could not be done.
struct Context {
  bool screen = false;    // standard output is a terminal, and not a dumb one
  bool color = false;     // the same, and NO_COLOR is not set
  bool progress = false;  // standard error is such a terminal
  int exit_code = 0;
};

// Anything that goes wrong is thrown, as this or host::FileError; main prints the one line and exits with 2.
class Failure : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

void add_tuning(CLI::App& app,
                Context& context);  // tuning new, show, build, check, diff, import-eq, export-eq

void add_process(CLI::App& app, Context& context);
void add_measure(CLI::App& app, Context& context);
void add_plot(CLI::App& app, Context& context);
void add_report(CLI::App& app, Context& context);
void add_meter(CLI::App& app, Context& context);

}  // namespace audiopost
