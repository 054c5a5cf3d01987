// audiopost: author a tuning record, check it, hear it, see it.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "app.h"
#include "terminal.h"

namespace {

// One clear line, whatever the message held.
int fail(std::string text) {
  for (char& c : text)
    if (c == '\n' || c == '\r') c = ' ';
  while (!text.empty() && text.back() == ' ') text.pop_back();
  std::fprintf(stderr, "audiopost: %s\n", text.c_str());
  return 2;
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): short of memory before there is anything to do, it may as well end
int main(int argc, char** argv) {
  CLI::App app("Author a tuning record of the effect chain, check it, hear it, see it.", "audiopost");
  app.require_subcommand(1);
  app.set_version_flag("--version", "audiopost " AUDIOPOST_VERSION);
  app.footer("Exit codes: 0 done, 1 the answer is no (check, diff), 2 could not be done.");

  audiopost::Context context;
  const char* no_color = std::getenv("NO_COLOR");
  context.screen = audiopost::is_screen(STDOUT_FILENO);
  context.color = context.screen && !(no_color && *no_color);
  context.progress = audiopost::is_screen(STDERR_FILENO);
  audiopost::add_tuning(app, context);
  audiopost::add_process(app, context);
  audiopost::add_measure(app, context);
  audiopost::add_plot(app, context);
  audiopost::add_report(app, context);
  audiopost::add_meter(app, context);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // help and version
    // A misspelt command shows as a missing one and a word too many.
    const std::vector<std::string> rest = app.remaining(true);
    if (error.get_name() == "RequiredError" && !rest.empty() && rest[0][0] != '-')
      return fail(rest[0] + " is no command; see audiopost --help");
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError))
      return fail("not expected: " + CLI::detail::join(rest, " "));
    return fail(error.what());
  } catch (const std::exception& error) {
    return fail(error.what());
  }
  if (std::fflush(stdout) != 0) return fail("standard output: could not be written");
  return context.exit_code;
}
