// audiopost as people and scripts run it: the built program, on files and pipes.
#include <cstdlib>
#include <sstream>

#include "audiopost/shell.h"

namespace {

using support::count;
using Bytes = std::string;

template <class T>
Bytes bytes_of(const std::vector<T>& values) {
  return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T)};
}

Bytes wav(const Bytes& samples, int channels, int bits = 16, int sample_rate = 48000, int format = 1) {
  const auto word = [](int value, int bytes) {
    Bytes text;
    for (int i = 0; i < bytes; ++i) text += char(value >> (8 * i));
    return text;
  };
  const int frame = channels * bits / 8, size = int(samples.size());
  return "RIFF" + word(36 + size, 4) + "WAVEfmt " + word(16, 4) + word(format, 2) + word(channels, 2) +
         word(sample_rate, 4) + word(sample_rate * frame, 4) + word(frame, 2) + word(bits, 2) + "data" +
         word(size, 4) + samples;
}
constexpr size_t kWavHeader = 44;

// So many frames at -20 dBFS or so, that no stage clips.
Bytes programme(int frames, int channels) {
  std::vector<int16_t> pcm = support::noise_pcm(frames * channels);
  for (int16_t& sample : pcm) sample = int16_t(sample / 8);
  return bytes_of(pcm);
}

Bytes tone(double hz, double peak_dB, double seconds) {  // stereo
  std::vector<int16_t> pcm;
  for (const float x : support::sine(int(seconds * 48000), hz, 48000, support::full_scale(peak_dB)))
    pcm.insert(pcm.end(), 2, int16_t(std::lround(x)));
  return bytes_of(pcm);
}

// The number that follows this name after the place where `after` stands.
double number(const std::string& json, const std::string& name, const std::string& after = "") {
  const size_t from = json.find(after), at = json.find("\"" + name + "\": ", from);
  REQUIRE(from != std::string::npos);
  REQUIRE_MESSAGE(at != std::string::npos, name);
  return std::strtod(json.c_str() + at + name.size() + 4, nullptr);
}

}  // namespace

TEST_CASE("the output is as long as the input, in every kind of file and through pipes") {
  const Shell shell;
  REQUIRE(shell.run("ln -s target.wav link.wav").status == 0);
  for (const int channels : {1, 2})
    for (const int frames : {1, 1023, 1024, 5000}) {
      const Bytes samples = programme(frames, channels);
      shell.write("in.wav", wav(samples, channels)), shell.write("in.pcm", samples);
      const std::string raw = " -q --raw --channels " + std::to_string(channels);
      // Commands, and the length of the header before the samples in `out`.
      const std::pair<std::string, size_t> runs[] = {
          {"process in.wav out.wav -q; mv out.wav out", kWavHeader},
          {"process in.wav out.flac -q && audiopost process out.flac - -q -t flat | cat > out", kWavHeader},
          {"process - - -q < in.wav | cat > out", kWavHeader},
          {"process in.wav /dev/stdout -q | cat > out", kWavHeader},
          {"process in.wav link.wav -q && test -L link.wav && mv target.wav out", kWavHeader},
          {"process in.pcm out" + raw, 0},
          {"process in.pcm out.wav" + raw + "; mv out.wav out", kWavHeader},  // the ending counts
          {"process in.wav - -q --raw > out", 0},
          {"process - -" + raw + " < in.pcm | cat > out", 0}};
      Bytes expect;
      for (const auto& [arguments, header] : runs) {
        const std::string command = arguments;
        CAPTURES(channels, frames, command);
        CHECK(shell.run("audiopost " + command).status == 0);
        const Bytes out = shell.read("out");
        REQUIRE(out.size() == header + samples.size());
        if (expect.empty()) expect = out.substr(header);
        CHECK(out.substr(header) == expect);
      }
    }
}

TEST_CASE("samples of other widths are rounded to 16 bits, and the flat tuning leaves them as they are") {
  const Shell shell;
  const std::vector<float> floats = {0, 0.5f, -0.5f, 1 / 32768.0f, 0.4f / 32768, 0.6f / 32768, 1.5f, -1.5f};
  shell.write("in.wav", wav(bytes_of(floats), 2, 32, 48000, 3));
  const auto done = shell.run("audiopost process in.wav out.wav -t flat");
  CHECK(done.status == 0);
  CHECK(done.err == "audiopost: note: in.wav: 2 samples lie beyond full scale and were clipped\n");
  CHECK(shell.read("out.wav").substr(kWavHeader) ==
        bytes_of(std::vector<int16_t>{0, 16384, -16384, 1, 0, 1, 32767, -32768}));
}

TEST_CASE("driver-compatible output is process_file's, and the start of what is written without the flag") {
  const Shell shell;
  shell.write("raw.pcm", programme(10 * 1024 + 500, 2));
  for (const std::string& preset : host::preset_names()) {
    CAPTURE(preset);
    shell.tuning("0522_48000HZ.bin", {}, preset);
    const auto done = shell.run(PROCESS_FILE
                                "; run() { audiopost process raw.pcm $1 --raw -q -t 0522_48000HZ.bin $2; };"
                                "run same.pcm --driver-compatible && run whole.pcm");
    REQUIRE(done.status == 0);
    CHECK(shell.read("process.pcm").size() == 10 * 4096);
    CHECK(shell.read("same.pcm") == shell.read("process.pcm"));
    CHECK(shell.read("whole.pcm").substr(0, 10 * 4096) == shell.read("process.pcm"));
  }
}

TEST_CASE("bad input is answered with one line, status 2 and no trace of an output") {
  const Shell shell;
  const Bytes samples = programme(3000, 2), good = wav(samples, 2);
  std::vector<float> floats(64);
  floats[9] = NAN;
  const std::pair<const char*, Bytes> files[] = {{"good.wav", good},
                                                 {"short.wav", good.substr(0, good.size() - 1000)},
                                                 {"empty.wav", wav("", 2)},
                                                 {"nan.wav", wav(bytes_of(floats), 2, 32, 48000, 3)},
                                                 {"eight.wav", wav(programme(100, 8), 8)},
                                                 {"words.txt", "not a sound\n"},
                                                 {"long.pcm", programme(50000, 2)},
                                                 {"odd.pcm", samples.substr(0, 4095)},
                                                 {"short.bin", Bytes(1999, '\0')},
                                                 {"type.toml", "[chain]\nsample_rate = \"48000\"\n"},
                                                 {"slow.wav", wav(samples, 2, 16, 10)},
                                                 {"tele.wav", wav(samples, 2, 16, 8000)},
                                                 {"old.wav", "what was there before"}};
  for (const auto& [name, bytes] : files) shell.write(name, bytes);
  shell.tuning("fatal.bin", {{14, {1}}, {100, {1, 9}}}), shell.tuning("bits.bin", {{1, {20}}});
  shell.tuning("nine.bin", {{3, {9}}}),
      shell.tuning("high.bin", {{0, {8000}}, {14, {1}}, {100, {1, 0, 4000}}});
  REQUIRE(shell
              .run("mkdir directory; ln -s good.wav link.wav;"
                   "audiopost process long.pcm cut.ogg --raw -q; truncate -s -1000 cut.ogg")
              .status == 0);
  const struct {
    std::string arguments, says;
  } rows[] = {
      {"process no.wav out.wav", "no.wav: no such file"},
      {"process good.wav directory", "directory: is a directory"},
      {"process good.wav missing/out.wav", "missing/out.wav: no such file"},
      {"process short.wav old.wav", "short.wav: is cut short: 11000 of 12000 bytes"},
      {"process - out.wav < short.wav", "standard input: is cut short"},
      {"process empty.wav out.wav", "empty.wav: holds no sound"},
      {"process nan.wav old.wav", "nan.wav: frame 4 is not a finite number"},
      {"process eight.wav out.wav", "eight.wav: has 8 channels"},
      {"process slow.wav out.wav", "slow.wav: a sample rate of 10 Hz"},
      {"process words.txt out.wav", "words.txt: not a sound file"},
      {"process odd.pcm out.pcm --raw", "odd.pcm: is cut short: it ends inside a frame"},
      {"process cut.ogg out.wav", "cut.ogg: is cut short: its end is missing after "},
      {"process good.wav out.xyz", "out.xyz: the ending"},
      {"process good.wav out.wav --rate 8000", "--rate requires --raw"},
      {"process odd.pcm out.pcm --raw -t nine.bin", "nine.bin: has 9 channels"},
      {"process good.wav link.wav", "link.wav: is the input"},
      {"process - good.wav < good.wav", "good.wav: is the input"},
      {"process odd.pcm bits.bin --raw -t bits.bin", "bits.bin: is the tuning"},
      {"process good.wav out.wav -t short.bin", "short.bin: is neither text nor a tuning record"},
      {"process good.wav out.wav -t type.toml", "type.toml:2: chain.sample_rate: is a string"},
      {"process good.wav out.wav -t fatal.bin", "fatal.bin: EQ10 channel 0 band 0: type 9"},
      {"process good.wav out.wav -t bits.bin", "bits.bin: chain: bit_rate 20"},
      {"process tele.wav out.wav -q -t high.bin", "high.bin: EQ10 channel 0 band 0: fc 4000 Hz"},
      {"process tele.wav out.wav -t music --block 1024", "; --block 800 would do\n"},
      {"process good.wav out.wav one --two 3", "audiopost: not expected: one --two 3"},
      {"process good.wav", "OUT"},
      {"measure music nan.wav", "nan.wav: frame 4"},
      {"measure music --tones 24000", "--tones: 24000 Hz is not below half the sample rate of 48000 Hz"},
      {"plot music -o missing/out.svg", "missing/out.svg"},
      {"plot bits.bin -o bits.bin", "bits.bin: is the tuning"},
      {"report music good.wav -o good.wav", "good.wav: is the input"},
      {"report music short.wav -o out.html", "short.wav: is cut short"},
      {"meter nan.wav --json", "nan.wav: frame 4"},
  };
  const auto before = shell.names();
  for (const auto& row : rows) {
    const auto done = shell.run("audiopost " + row.arguments);
    CAPTURES(row.arguments, done.err);
    CHECK(done.status == 2);
    CHECK(done.out.empty());
    CHECK(done.err.find('\n') + 1 == done.err.size());
    CHECK(done.err.find(row.says) != std::string::npos);
    CHECK(shell.names() == before);
  }
  CHECK(shell.read("old.wav") == "what was there before");
  CHECK(shell.read("good.wav") == good);
  // libsndfile loses the memory of an Ogg stream that it cannot end.
  const std::string limited =
      "export ASAN_OPTIONS=detect_leaks=0; trap '' XFSZ; ulimit -f 1; audiopost process long.pcm --raw ";
  for (const std::string out : {"out.wav", "out.flac", "out.ogg", "out"})
    CHECK(shell.run(limited + out).err == "audiopost: " + out + ": file too large\n");
}

TEST_CASE("a tuning for another rate gives up what the sound's rate cannot carry, and says so") {
  const Shell shell;
  const struct {
    std::string preset;
    Shell::Changes changes;
    int rate;
    Shell::Changes suited;  // by hand
    std::vector<std::string> notes;
  } rows[] = {
      {"speech",
       {},
       8000,
       {{13, {0}}, {115, {0}}, {251, {3600}}, {270, {3600}}},
       {"DeEsser at 6500 Hz is off: the file reaches 4000 Hz",
        "EQ10 band 3 at 9000 Hz is off: the file reaches 4000 Hz",
        "MultiBandDRC crossover at 5000 Hz moves to 3600 Hz: the file reaches 4000 Hz",
        "blocks of 800 frames: auto gain's step is no longer at 8000 Hz"}},
      // Edges keep their order.
      {"flat",
       {{12, {1}}, {15, {1}}, {82, {7999}}, {231, {7900}}, {250, {7900, 9000}}, {270, {9000}}},
       16000,
       {{251, {7900}}, {270, {7900}}},
       {"MultiBandDRC crossover at 9000 Hz moves to 7900 Hz: the file reaches 8000 Hz"}},
      // Channels with settings of their own.
      {"flat",
       {{2, {0}}, {12, {1, 0, 1}}, {80, {0, 0, 3000, 0.5f, 0, 0, 0, 8000, 0.5f}}, {150, {1, 0, 8000, 1, 6}}},
       16000,
       {{12, {0}}, {150, {0}}},
       {"Exciter channel 1 at 8000 Hz is off: the file reaches 8000 Hz",
        "EQ10 channel 1 band 0 at 8000 Hz is off: the file reaches 8000 Hz"}},
  };
  for (const auto& row : rows) {
    CAPTURES(row.preset, row.rate);
    Shell::Changes by_hand = row.changes;
    by_hand.insert(by_hand.end(), row.suited.begin(), row.suited.end());
    by_hand.push_back({0, {float(row.rate)}});
    shell.write("in.wav", wav(programme(20000, 2), 2, 16, row.rate));
    shell.tuning("a.bin", row.changes, row.preset), shell.tuning("b.bin", by_hand, row.preset);
    std::string says = "audiopost: note: a.bin is for 48000 Hz and 2 channels; it runs at the stream's " +
                       std::to_string(row.rate) + " Hz and 2\n";
    for (const std::string& note : row.notes) says += "audiopost: note: " + note + "\n";
    CHECK(shell.run("audiopost process in.wav a.wav -t a.bin").err == says);
    CHECK(shell.run("audiopost process in.wav b.wav -t b.bin -q").status == 0);
    CHECK(shell.read("a.wav") == shell.read("b.wav"));
    const auto others = shell.run(
        "audiopost process in.wav a.wav -t a.bin -q && audiopost plot b.bin > b.svg &&"
        "audiopost measure a.bin in.wav --tones 1000 --levels -20 > b.txt &&"
        "audiopost report b.bin in.wav -o b.html 2> b.txt");
    CHECK(others.status == 0);
    CHECK(others.err == says);  // measure's
  }
  // As process_file runs it.
  shell.tuning("high.bin", {{0, {16000}}, {14, {1}}, {100, {1, 0, 8000}}});
  const auto done = shell.run("audiopost process in.wav out.wav -q -t high.bin --driver-compatible");
  CHECK(done.status == 0);
  CHECK(done.err.rfind("audiopost: warning: high.bin: EQ10 channel 0 band 0: fc 8000 Hz", 0) == 0);
}

TEST_CASE("an interrupted run takes its unfinished output away") {
  const Shell shell;
  // The pipe stays open at its other end, so the program waits for more until the signal comes.
  const auto done = shell.run("mkfifo pipe; exec 3<>pipe; " AUDIOPOST
                              " process - out.pcm --raw < pipe & program=$!;"
                              "for i in $(seq 100); do ls | grep -q 'out.pcm.' && break; sleep 0.1; done;"
                              "kill -TERM $program; wait $program");
  CHECK(done.status == 2);
  CHECK(done.err == "audiopost: interrupted\n");
  CHECK(shell.names() == std::set<std::string>{"pipe"});
}

TEST_CASE("the closing report says what the sound and the stages did") {
  const Shell shell;
  shell.write("tone.wav", wav(tone(1000, -23, 6), 2));
  std::string json = shell.run("audiopost process tone.wav out.wav --json -t flat").out;
  CHECK(number(json, "frames") == 288000);
  for (const std::string side : {"before", "after"}) {
    CAPTURES(side);
    CHECK(std::abs(number(json, "integrated_lufs", side) + 23) < 0.1);
    CHECK(std::abs(number(json, "true_peak_dbtp", side) + 23) < 0.2);
    CHECK(std::abs(number(json, "crest_db", side) - 3.01) < 0.02);
    CHECK(number(json, "full_scale_samples", side) == 0);
  }
  shell.tuning("loud.bin", {{20, {30}}, {25, {30}}});
  json = shell.run("audiopost process tone.wav out.wav --json -t loud.bin").out;
  CHECK(number(json, "clipped_samples") > 100000);
  CHECK(number(json, "full_scale_samples", "after") > 100000);

  const struct {
    std::string stage;
    int flag, section;
    std::vector<float> settings;
    double most_dB;
  } rows[] = {
      // Target, attack, release, window, step: 4 dB up from the tone's -23 LUFS.
      {"auto gain", 10, 30, {-19, 50, 50, 400, 100}, 4},
      // The AGC's flat part, 6 dB up.
      {"AGC", 16, 400, {-3, -1, 5, -10, -50, -60, 6, -1, 50, 50, 0}, 6},
      // A threshold of -23 dB, the ceiling at -20: 3 dB of make-up, of which a soft knee of 52 dB keeps 6.5 - 0.02.
      {"limiter", 17, 400, {-23, -20, 5}, 3 - 6.5 + 20 * std::log10(0.998)},
      // Two bands that meet far above the tone: 5 dB of make-up, compressed bands at half.
      {"compressor", 15, 210, {20, 16000, 5, 1, -10, -50, -60, 0, -1, 5, 50, 0}, 5 - 6.02},
  };
  for (const auto& row : rows) {
    CAPTURES(row.stage, row.most_dB);
    shell.tuning("one.bin",
                 {{2, {1}}, {row.flag, {1}}, {200, {2}}, {270, {16000, 20000}}, {row.section, row.settings}});
    json = shell.run("audiopost process tone.wav out.wav --json -t one.bin").out;
    CHECK(std::abs(number(json, "most_db", "gain\": {\"" + row.stage) - row.most_dB) < 0.1);
  }

  auto done = shell.run("audiopost process tone.wav out.wav");
  CHECK(done.out.find("integrated loudness       -23.0") != std::string::npos);
  CHECK(done.out.find('\033') == std::string::npos);  // colours and bars are for terminals
  CHECK(count(done.out, "-0.0") + count(done.out, "+0.0") == 0);
  done = shell.run("audiopost process tone.wav - > out.wav");  // standard output is the sound's
  CHECK(done.err.find("integrated loudness") != std::string::npos);
  CHECK(shell.run("audiopost process tone.wav - -q > out.wav").err.empty());
}

TEST_CASE("every JSON is well formed, whatever the file's name and however short or silent the sound") {
  const Shell shell;
  for (const Bytes& samples : {tone(440, -20, 1), tone(440, -200, 1), tone(440, -20, 0.01)}) {
    shell.write("a \"b\" \\c\td.wav", wav(samples, 2));
    for (const std::string command : {"process a* out.wav", "measure speech a* --tones 1000 --levels -20",
                                      "meter a*", "process a* out.wav --driver-compatible"}) {
      CAPTURES(command, samples.size());
      // Python's reader would take NaN.
      const auto done = shell.run("audiopost " + command +
                                  " --json | python3 -c 'import json, sys; "
                                  "json.load(sys.stdin, parse_constant=exit)'");
      CHECK_MESSAGE(done.status == 0, done.err);
    }
  }
}

TEST_CASE("what is redrawn in a terminal's window fits there and leaves nothing behind") {
  const Shell shell;
  shell.write("in.wav", wav(tone(440, -20, 4), 2));
  // script(1) gives the program a terminal.
  const auto drawn = [&](const std::string& environment) {
    return shell
        .run("LC_ALL=C TERM=xterm " + environment +
             " script -qec '" AUDIOPOST " process in.wav out.wav' /dev/null </dev/null")
        .out;
  };
  const std::string bar = drawn("");
  CHECK(bar.rfind("\r\033[K") < bar.find("integrated loudness"));
  CHECK((bar.find("\033[1m") != std::string::npos && bar.find(" %  ") != std::string::npos));
  CHECK(drawn("NO_COLOR=1").find("\033[1m") == std::string::npos);
  CHECK(drawn("TERM=dumb").find('\033') == std::string::npos);
  const struct {
    int columns, lines;
    bool bars;
  } rows[] = {{24, 12, true}, {60, 11, false}, {20, 30, false}};
  for (const auto& row : rows)
    for (const std::string command : {"meter in.wav --fast", "process in.wav out.wav", "process - out.wav"}) {
      CAPTURES(row.columns, row.lines, command);
      std::ostringstream run;
      run << "LC_ALL=C TERM=xterm script -qec 'stty cols " << row.columns << " rows " << row.lines
          << "; cat in.wav | " AUDIOPOST " " << command << "' /dev/null </dev/null"
          << " | sed 's/\\x1b\\[[0-9?]*[A-Za-z]//g' | tr '\\r' '\\n'"  // escapes take no room
          << " | sed '/integrated\\|tuning$/,$d'";                     // the report may be wider
      std::istringstream seen(shell.run(run.str()).out);
      size_t widest = 0, bars = 0;
      for (std::string line; std::getline(seen, line);) {
        widest = std::max(widest, line.size());
        bars += count(line, " Hz ");
      }
      CHECK(widest > 10);
      CHECK(widest < size_t(row.columns));
      if (command[0] == 'm') CHECK(bars == (row.bars ? 800 : 0));
    }
}

TEST_CASE("measure finds a bell where it was put, and says so as a table and as JSON") {
  const Shell shell;
  shell.tuning("bell.bin", {{2, {1}}, {14, {1}}, {100, {1, 0, 1000, 1, 6}}});
  shell.write("in.wav", wav(tone(1000, -23, 1), 2));
  const std::string command = "audiopost measure bell.bin --tones 1000 --levels -20";
  const std::string json = shell.run(command + " --json -- in.wav").out, table = shell.run(command).out;
  CHECK(std::abs(number(json, "out_dbfs") + 14) < 0.02);
  CHECK(number(json, "thd_db") < -80);
  CHECK(number(json, "latency_frames") == 0);
  CHECK(std::abs(number(json, "integrated_lufs", "\"after\"") + 17) < 0.1);
  CHECK(table.find("\n      1000    +6.00    +6.00\n") != std::string::npos);
  CHECK(table.find("latency 0 frames") != std::string::npos);
}

TEST_CASE("plot draws what a tuning runs, report fills one page that needs nothing else") {
  const Shell shell;
  // Channel 1 is not linked, and has no equalizer.
  shell.tuning("two.bin", {{2, {0}}, {14, {1}}, {100, {1, 0, 1000, 1, 6}}});
  for (const auto& [tuning, charts] : {std::pair("music", 4u), {"two.bin", 2u}}) {
    CAPTURES(std::string(tuning));
    const std::string parse = "python3 -c 'import sys, xml.sax as x; x.parse(sys.stdin, x.ContentHandler())'";
    CHECK(shell.run(std::string("audiopost plot ") + tuning + " | tee out.svg | " + parse).status == 0);
    const std::string svg = shell.read("out.svg");
    CHECK(count(svg, "nan") + count(svg, "inf") == 0);
    CHECK(count(svg, "class='title'") == charts);
    CHECK(count(svg, ">measured<") == charts);
  }
  // The lowest point of a bell narrower than the grid, at its place between the axes' ends of 6 and -24 dB.
  shell.tuning("narrow.bin", {{14, {1}}, {100, {1, 0, 99, 16, -20}}});
  const std::string narrow = shell.run("audiopost plot narrow.bin").out;
  CHECK(count(narrow, "L188.6 286.5") == 2);  // the band and the product of all
  CHECK(narrow.find(">0: bell 99 Hz -20.0 dB<") != std::string::npos);

  shell.write("a<b&c.wav", wav(tone(440, -20, 4), 2));
  const auto done =
      shell.run("audiopost process 'a<b&c.wav' out.wav && audiopost report music 'a<b&c.wav' -o out.html");
  CHECK(done.status == 0);
  const std::string page = shell.read("out.html");
  CHECK(page.find("<h1>a&lt;b&amp;c.wav</h1>") != std::string::npos);
  CHECK(count(page, "http") == count(page, "xmlns='http://www.w3.org/2000/svg'"));  // nothing is fetched
  CHECK(count(page, "<script") + count(page, "<img") + count(page, "<link") == 0);
  CHECK(count(page, "<svg xmlns") >= 5);
  // The same numbers as process prints: "integrated loudness      -20.0    -18.3  LUFS".
  std::istringstream line(done.out.substr(done.out.find("integrated loudness") + 19));
  std::string before, after;
  line >> before >> after;
  CHECK(page.find("<td>" + before + "</td><td>" + after + "</td><td>LUFS</td>") != std::string::npos);
}

TEST_CASE("meter shows the band that sounds, and none that the sample rate cannot carry") {
  const Shell shell;
  shell.write("tone.wav", wav(tone(1000, -20, 4.02), 2));  // the rest of a block would read low
  const std::string json = shell.run("audiopost meter tone.wav --json").out;
  CHECK(count(json, "levels_db") == 80);  // twenty a second
  CHECK(std::abs(number(json, "integrated_lufs") + 20) < 0.1);
  CHECK(std::abs(number(json, "short_term_lufs", "\"s\": 4.000") + 20) < 0.1);
  std::istringstream last(json.substr(json.rfind("\"levels_db\": [") + 14));
  int levels[10];
  char comma;
  for (int& level : levels) last >> level >> comma;
  CHECK(std::abs(levels[5] + 23) <= 1);  // mean square of the tone, in the band of 1000 Hz
  CHECK(std::max_element(levels, levels + 10) == levels + 5);
  for (const int far : {0, 1, 2, 8, 9}) CHECK(levels[far] < -40);

  const std::string table = shell.run("audiopost meter tone.wav").out;
  CHECK(count(table, "\n") == 6);  // a head, a line a second, and the sum
  CHECK(table.find("integrated -20.0 LUFS") != std::string::npos);
  shell.write("slow.wav", wav(programme(8000, 1), 1, 16, 8000));
  CHECK(count(shell.run("audiopost meter slow.wav --json").out, ", null, null, null]") == 20);
}
