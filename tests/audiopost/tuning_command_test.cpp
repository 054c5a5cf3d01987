// audiopost tuning, as a shell sees it.
#include "audiopost/shell.h"

TEST_CASE("audiopost tuning writes, shows, builds, checks and compares records") {
  const Shell shell;
  const struct {
    std::string arguments;
    int status;
    std::string out, err;  // what they begin with
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
      {"tuning show speech", 0, "# Tuning record of the effect chain.", ""},  // the preset, not the file
      {"tuning show ./speech", 2, "", "audiopost: ./speech:1: "},
      {"tuning show ''", 2, "", "audiopost: the tuning's name is empty\n"},
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
  shell.write("speech", "no tuning\n");
  for (const auto& r : rows) {
    const support::Outcome outcome = shell.run("audiopost " + r.arguments);
    CAPTURES(r.arguments, outcome.out, outcome.err);
    CHECK(outcome.status == r.status);
    CHECK(outcome.out.rfind(r.out, 0) == 0);
    CHECK(outcome.err.rfind(r.err, 0) == 0);
    // One clear line.
    CHECK(std::count(outcome.err.begin(), outcome.err.end(), '\n') == (r.status == 2 ? 1 : 0));
    CHECK(outcome.out.find('\033') == std::string::npos);
  }
  CHECK(host::load_tuning(shell.of("c.bin")) != host::load_tuning(shell.of("b.bin")));
  CHECK(shell.names() ==
        std::set<std::string>{"a.bin", "a.toml", "b.bin", "c.bin", "eq.txt", "speech"});  // no halves
}
