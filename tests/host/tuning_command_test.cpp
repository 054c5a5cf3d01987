// audiopost tuning, as a shell sees it.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "host/tuning.h"
#include "support.h"

namespace {

struct Workplace {
  Workplace() {
    std::filesystem::create_directory(path);
    std::filesystem::current_path(path);
  }
  ~Workplace() {
    std::filesystem::current_path(path.parent_path());
    std::filesystem::remove_all(path);
  }
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("tuning_command_test_" + std::to_string(getpid()));
};

support::Outcome audiopost(const std::string& arguments) {
  return support::in_child([&] {
    const std::string command = std::string("exec " AUDIOPOST " ") + arguments;
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
  });
}

}  // namespace

TEST_CASE("audiopost tuning writes, shows, builds, checks and compares records") {
  const Workplace workplace;
  const struct {
    const char* arguments;
    int status;
    const char *out, *err;  // what they begin with
  } rows[] = {
      {"tuning new -o a.toml", 0, "", ""},
      {"tuning new --preset flat", 0, "# flat: ", ""},
      {"tuning build a.toml -o a.bin", 0, "", ""},
      {"tuning show a.bin", 0, "# Tuning record of the effect chain.", ""},
      {"tuning show - < a.bin", 0, "# Tuning record of the effect chain.", ""},
      {"tuning diff a.toml a.bin", 0, "", ""},
      {"tuning check a.bin", 0, "nothing to remark\n", ""},
      {"tuning check a.bin --block 4801", 1, "fatal: AutoGain: r128_steps 100 ms is 4800 samples", ""},
      {"tuning check a.bin --block 4801 --json", 1,
       "{\"usable\": false, \"findings\": [{\"severity\": \"fatal\"", ""},
      {"tuning new --preset flat -o b.bin", 0, "", ""},
      {"tuning diff music a.bin", 0, "", ""},
      {"tuning diff a.bin b.bin", 1, "AutoGain: enable: on -> off\n", ""},
      {"tuning diff a.bin b.bin --json", 1, "[{\"where\": \"AutoGain\", \"field\": \"enable\"", ""},
      {"tuning export-eq a.bin -o eq.txt", 0, "", ""},
      {"tuning import-eq eq.txt --into b.bin -o c.bin", 0, "", ""},
      {"tuning export-eq c.bin", 0, "Preamp: 0 dB\nFilter 1: ON LSC Fc 90 Hz Gain 2 dB Q ", ""},
      {"tuning import-eq a.toml", 2, "", "audiopost: a.toml: holds no line that begins with Filter\n"},
      {"tuning build a.toml -o none/a.bin", 2, "", "audiopost: none/a.bin: no such file or directory\n"},
      {"tuning show none", 2, "", "audiopost: none: no such file or directory\n"},
      {"tuning show .", 2, "", "audiopost: .: is a directory\n"},
      {"tuning show eq.txt", 2, "", "audiopost: eq.txt:1: "},
      {"tuning new --preset loud", 2, "", "audiopost: --preset: loud not in {music,speech,night,tv,flat}\n"},
      {"tuning nwe", 2, "", "audiopost: nwe is no command"},
      {"tuning check a.bin --blok 3", 2, "", "audiopost: "},
      {"tuning show", 2, "", "audiopost: TUNING is required\n"},
      {"tuning show a.bin > /dev/full", 2, "", "audiopost: standard output: no space left on device\n"},
      {"tuning check --help", 0, "Tell what the chain would truncate", ""},
      {"--version", 0, "audiopost ", ""},
  };
  for (const auto& r : rows) {
    const std::string arguments = r.arguments;
    CAPTURE(arguments);
    const support::Outcome outcome = audiopost(arguments);
    CHECK(outcome.status == r.status);
    CHECK(outcome.out.substr(0, std::strlen(r.out)) == r.out);
    CHECK(outcome.err.substr(0, std::strlen(r.err)) == r.err);
    // One clear line.
    CHECK(std::count(outcome.err.begin(), outcome.err.end(), '\n') == (r.status == 2 ? 1 : 0));
    CHECK(outcome.out.find('\033') == std::string::npos);
  }
  CHECK(host::load_tuning("c.bin") != host::load_tuning("b.bin"));
  CHECK(std::distance(std::filesystem::directory_iterator("."), {}) == 5);  // what failed left nothing behind
}

TEST_CASE("the completions know every option of every command, and the manual describes them") {
  const auto read = [](const std::string& name) {
    std::ifstream file(SOURCES + std::string("/") + name);
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  const std::string bash = read("tools/audiopost/completion/audiopost.bash");
  const std::string zsh = read("tools/audiopost/completion/_audiopost");
  for (const std::string group : {"", "tuning "}) {
    // Commands stand in the help as "  name   what it does".
    std::istringstream help(audiopost(group + "--help").out);
    std::string line;
    for (bool listed = false; std::getline(help, line);) {
      if (line == "Subcommands:") listed = true;
      if (!listed || line.compare(0, 2, "  ") != 0 || line[2] == ' ') continue;
      const std::string command = group + line.substr(2, line.find(' ', 2) - 2);
      if (command == "tuning") continue;
      CAPTURE(command);
      std::string page = read("docs/man/audiopost-" + (group.empty() ? command : "tuning") + ".1");
      page.erase(std::remove(page.begin(), page.end(), '\\'), page.end());
      std::istringstream options(audiopost(command + " --help").out);
      for (std::string word; options >> word;) {
        if (word.compare(0, 2, "--") != 0 || word == "--help") continue;
        const std::string option = word.substr(0, word.find_first_of(",="));
        CAPTURE(option);
        CHECK(bash.find(option) != std::string::npos);
        CHECK(zsh.find(option) != std::string::npos);
        CHECK(page.find(option) != std::string::npos);
      }
    }
  }
}
