// audiopost tuning, as a shell sees it.
#include <unistd.h>

#include <filesystem>

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
  struct {
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
    CHECK(std::count(outcome.err.begin(), outcome.err.end(), '\n') ==
          (r.status == 2 ? 1 : 0));  // one clear line
    CHECK(outcome.out.find('\033') == std::string::npos);
  }
  CHECK(host::load_tuning("c.bin") != host::load_tuning("b.bin"));
  CHECK(std::distance(std::filesystem::directory_iterator("."), {}) == 5);  // what failed left nothing behind
}
