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
      {"tuning diff a.toml a.bin", 0, "", ""},
      {"tuning check a.bin", 0, "nothing to remark\n", ""},
      {"tuning check a.bin --block 4801", 1, "fatal: AutoGain: r128_steps 100 ms is 4800 samples", ""},
      {"tuning check a.bin --strict", 0, "nothing to remark\n", ""},
      {"tuning check a.bin --block 4801 --json | grep -c '\"message\": \"frameLen is'", 1, "1\n", ""},
      // What is remarked on, what is no sound, what ends the process: check, build and import-eq agree with process.
      {"tuning check soft.bin", 0, "note: EQ10 channel 0 band 0: boost 21 is clamped to 20\n", ""},
      {"tuning check soft.bin --strict", 1, "note: EQ10 channel 0 band 0: boost 21 is clamped to 20\n", ""},
      {"tuning check soft.bin --json", 0,
       R"({"usable": true, "findings": [{"severity": "note", "where": "EQ10 channel 0 band 0", )"
       R"("text": "boost 21 is clamped to 20", "message": null, "index": 104, "noise_dbfs": null}]})",
       ""},
      {"tuning build soft.bin -o built.bin", 0, "",
       "audiopost: soft.bin: note: EQ10 channel 0 band 0: boost 21 is clamped to 20\n"},
      {"tuning check loud.bin", 1,
       "unstable: EQ10 channel 0 band 0: fc 23545 Hz, Q 5.2 (here octaves): the filter's", ""},
      {"tuning check loud.bin --json", 1, "{\"usable\": false, \"findings\": [{\"severity\": \"unstable\"",
       ""},
      {"tuning build loud.bin -o not.bin", 2, "", "audiopost: loud.bin: EQ10 channel 0 band 0: fc 23545 Hz"},
      {"tuning build loud.bin -o forced.bin --force", 0, "",
       "audiopost: loud.bin: unstable: EQ10 channel 0 band 0: fc 23545 Hz"},
      {"measure loud.bin", 2, "", "audiopost: loud.bin: EQ10 channel 0 band 0: fc 23545 Hz"},
      {"tuning check noisy.bin --json | grep -o '\"noise_dbfs\": -[0-9]*'", 0, "\"noise_dbfs\": -68\n", ""},
      {"tuning build a.bin --block 4801 -o not.bin", 2, "",
       "audiopost: a.bin: AutoGain: r128_steps 100 ms is"},
      {"tuning import-eq bell.txt --into wild.bin -o not.bin", 2, "",
       "audiopost: wild.bin: Exciter channel 0: Cutoff 24000 Hz is not below"},
      {"tuning import-eq bell.txt --into wild.bin -o forced.bin --force", 0, "",
       "audiopost: wild.bin: unstable: Exciter channel 0: Cutoff 24000 Hz is not below"},
      {"tuning new --preset flat -o b.bin", 0, "", ""},
      {"tuning diff a.bin b.bin", 1, "AutoGain: enable: on -> off\n", ""},
      {"tuning diff a.bin b.bin --json", 1, "[{\"where\": \"AutoGain\", \"field\": \"enable\"", ""},
      {"tuning export-eq a.bin -o eq.txt", 0, "", ""},
      {"tuning import-eq eq.txt --into b.bin -o c.bin", 0, "", ""},
      {"tuning export-eq c.bin", 0, "Preamp: 0 dB\nFilter 1: ON LSC Fc 90 Hz Gain 2 dB Q ", ""},
      {"tuning import-eq a.toml", 2, "", "audiopost: a.toml: holds no line that begins with Filter\n"},
      {"tuning build a.toml -o none/a.bin", 2, "", "audiopost: none/a.bin: no such file or directory\n"},
      {"tuning show speech", 0, "# Tuning record of the effect chain.", ""},  // the preset, not the file
      {"tuning show ./speech", 2, "", "audiopost: ./speech:1: "},
      {"tuning show ''", 2, "", "audiopost: the tuning's name is empty\n"},
      {"tuning new --preset loud", 2, "", "audiopost: --preset: loud not in {music,speech,night,tv,flat}\n"},
      {"tuning nwe", 2, "", "audiopost: nwe is no command"},
      {"tuning check a.bin --blok 3", 2, "", "audiopost: "},
      {"tuning show", 2, "", "audiopost: TUNING is required\n"},
      {"tuning show a.bin > /dev/full", 2, "", "audiopost: standard output: no space left on device\n"},
      {"tuning check --help", 0, "Tell what the chain would truncate", ""},
      {"--version", 0, "audiopost ", ""},
  };
  shell.write("speech", "no tuning\n");
  shell.write("bell.txt", "Filter 1: ON PK Fc 1000 Hz Gain 3 dB Q 1\n");
  shell.tuning("wild.bin", {{12, {1}}, {80, {0, 0.3f, 24000, 0.1f}}});
  shell.tuning("soft.bin", {{14, {1}}, {100, {1, Parametric, 1000, 1, 21}}});
  shell.tuning("loud.bin", {{14, {1}}, {100, {1, BandPass, 23545, 5.2f, 0}}});
  shell.tuning("noisy.bin", {{14, {1}}, {100, {1, Parametric, 30, 16, 20}}});
  for (const auto& r : rows) {
    const support::Outcome outcome = shell.run("audiopost " + r.arguments);
    CAPTURES(r.arguments, outcome.out, outcome.err);
    CHECK(outcome.status == r.status);
    CHECK(outcome.out.rfind(r.out, 0) == 0);
    CHECK(outcome.err.rfind(r.err, 0) == 0);
    // One clear line, or none.
    CHECK(std::count(outcome.err.begin(), outcome.err.end(), '\n') == (r.err.empty() ? 0 : 1));
    CHECK(outcome.out.find('\033') == std::string::npos);
  }
  CHECK(host::load_tuning(shell.of("c.bin")) != host::load_tuning(shell.of("b.bin")));
  CHECK(shell.names() == std::set<std::string>{"a.bin", "a.toml", "b.bin", "bell.txt", "built.bin", "c.bin",
                                               "eq.txt", "forced.bin", "loud.bin", "noisy.bin", "soft.bin",
                                               "speech", "wild.bin"});  // no halves
}
