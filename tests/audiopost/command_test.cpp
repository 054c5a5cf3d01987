// audiopost as people and scripts run it: the built program, on files and pipes in a directory of its own.
#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#include "host/tuning.h"
#include "support.h"

namespace {

using Bytes = std::string;

// A directory that goes away with the test, the working directory of every command run in it.
struct Place {
  Place() {
    char name[] = "/tmp/audiopost-test-XXXXXX";
    path = mkdtemp(name);
  }
  ~Place() { (void)std::system(("rm -rf " + path).c_str()); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  // `audiopost` in the command stands for the built program.
  support::Outcome run(const std::string& command) const {
    const std::string script = "cd " + path + "; audiopost() { " AUDIOPOST " \"$@\"; }; " + command;
    return support::in_child(
        [&] { execl("/bin/bash", "bash", "-o", "pipefail", "-c", script.c_str(), nullptr); });
  }
  Bytes read(const std::string& name) const {
    std::ifstream file(path + "/" + name, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
  }
  void write(const std::string& name, const Bytes& bytes) const {
    std::ofstream(path + "/" + name, std::ios::binary) << bytes;
  }
  std::set<std::string> names() const {
    std::set<std::string> result;
    DIR* const directory = opendir(path.c_str());
    while (const dirent* entry = readdir(directory)) result.insert(entry->d_name);
    closedir(directory);
    return result;
  }
  std::string path;
};

template <class T>
Bytes bytes_of(const std::vector<T>& values) {
  return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T)};
}

Bytes wav(const Bytes& samples, int channels, int bits = 16, int sample_rate = 48000, int format = 1) {
  const auto word = [](size_t value, int bytes) {
    Bytes text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i));
    return text;
  };
  const auto n = [](int value) { return static_cast<size_t>(value); };
  const int frame = channels * bits / 8;
  return "RIFF" + word(36 + samples.size(), 4) + "WAVEfmt " + word(16, 4) + word(n(format), 2) +
         word(n(channels), 2) + word(n(sample_rate), 4) + word(n(sample_rate * frame), 4) +
         word(n(frame), 2) + word(n(bits), 2) + "data" + word(samples.size(), 4) + samples;
}
Bytes payload(const Bytes& wav_file) { return wav_file.substr(44); }

// So many frames at -20 dBFS or so, that no stage clips.
Bytes programme(int frames, int channels) {
  std::vector<int16_t> pcm = support::noise_pcm(frames * channels);
  for (int16_t& sample : pcm) sample = static_cast<int16_t>(sample / 8);
  return bytes_of(pcm);
}

Bytes tone(double hz, double peak_dB, double seconds) {  // stereo
  std::vector<int16_t> pcm;
  for (int i = 0; i < seconds * 48000; ++i)
    pcm.insert(pcm.end(), 2,
               static_cast<int16_t>(
                   std::lround(32768 * std::pow(10, peak_dB / 20) * std::sin(2 * M_PI * hz * i / 48000))));
  return bytes_of(pcm);
}

// The number that follows this name after the place where `after` stands.
double number(const std::string& json, const std::string& name, const std::string& after = "") {
  const size_t from = json.find(after), at = json.find("\"" + name + "\": ", from);
  REQUIRE(from != std::string::npos);
  REQUIRE_MESSAGE(at != std::string::npos, name);
  return std::strtod(json.c_str() + at + name.size() + 4, nullptr);
}

// Every tag closed by its own kind, in order; attributes quoted.
bool well_formed(const std::string& xml) {
  std::vector<std::string> open;
  for (size_t at = 0; (at = xml.find('<', at)) != std::string::npos;) {
    const size_t end = xml.find('>', at);
    if (end == std::string::npos) return false;
    const std::string tag = xml.substr(at + 1, end - at - 1),
                      name = tag.substr(0, tag.find_first_of(" /", 1));
    if (std::count(tag.begin(), tag.end(), '\'') % 2) return false;
    if (tag[0] == '/') {
      if (open.empty() || "/" + open.back() != tag) return false;
      open.pop_back();
    } else if (tag.back() != '/') {
      open.push_back(name);
    }
    at = end;
  }
  return open.empty();
}

// Moves past one JSON value; false where the text is none.
bool skip_json(const std::string& text, size_t& at) {
  const auto skip = [&](char c) {
    while (at < text.size() && (text[at] == ' ' || text[at] == '\n')) ++at;
    return at < text.size() && text[at] == c && ++at;
  };
  if (skip('"')) {
    for (; at < text.size() && text[at] != '"'; ++at) {
      if (static_cast<unsigned char>(text[at]) < 0x20) return false;
      if (text[at] == '\\' && !std::strchr("\"\\/bfnrtu", text[++at])) return false;
    }
    return skip('"');
  }
  for (const char* brackets : {"{}", "[]"})
    if (skip(brackets[0])) {
      if (skip(brackets[1])) return true;
      do {
        if (brackets[0] == '{' && !(skip_json(text, at) && skip(':'))) return false;
        if (!skip_json(text, at)) return false;
      } while (skip(','));
      return skip(brackets[1]);
    }
  if (text.compare(at, 4, "null") == 0) return at += 4, true;
  char* end = nullptr;
  if (std::isdigit(text[at]) || text[at] == '-') std::strtod(&text[at], &end);
  return end && (at = static_cast<size_t>(end - text.data()), true);
}

bool is_json(const std::string& text) {
  size_t at = 0;
  return skip_json(text, at) && text.substr(at) == "\n";
}

size_t count(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) ++n;
  return n;
}

bool one_line(const std::string& text) { return count(text, "\n") == 1 && text.back() == '\n'; }

}  // namespace

TEST_CASE("the output is as long as the input, in every kind of file and through pipes") {
  const Place place;
  for (const int channels : {1, 2})
    for (const int frames : {1, 1023, 1024, 5000}) {
      CAPTURE(channels);
      CAPTURE(frames);
      const Bytes samples = programme(frames, channels);
      place.write("in.wav", wav(samples, channels));
      place.write("in.pcm", samples);
      const std::string raw = " --raw --channels " + std::to_string(channels);
      CHECK(place.run("audiopost process in.wav out.wav -q").status == 0);
      const Bytes expect = payload(place.read("out.wav"));
      CHECK(expect.size() == samples.size());
      const char* const same[] = {
          "audiopost process in.wav out.flac -q && audiopost process out.flac out.wav -q -t flat",
          "audiopost process in.wav out.aiff -q && audiopost process out.aiff out.wav -q -t flat",
          "cat in.wav | audiopost process - - -q | cat > out.wav",
          "audiopost process in.wav /dev/stdout -q | cat > out.wav",
          "cp in.wav out.wav; audiopost process out.wav out.wav -q"};
      for (const char* command : same) {
        CAPTURE(std::string(command));
        CHECK(place.run(command).status == 0);
        CHECK(payload(place.read("out.wav")) == expect);
      }
      CHECK(place.run("audiopost process in.pcm out.pcm -q" + raw).status == 0);
      CHECK(place.read("out.pcm") == expect);
      CHECK(place.run("audiopost process - - -q" + raw + " < in.pcm | cat > out.pcm").status == 0);
      CHECK(place.read("out.pcm") == expect);
    }
}

TEST_CASE("samples of other widths are rounded to 16 bits, and the flat tuning leaves them as they are") {
  const Place place;
  const std::vector<float> floats = {0, 0.5f, -0.5f, 1 / 32768.0f, 0.4f / 32768, 0.6f / 32768, 1.5f, -1.5f};
  place.write("in.wav", wav(bytes_of(floats), 2, 32, 48000, 3));
  const auto done = place.run("audiopost process in.wav out.wav -t flat");
  CHECK(done.status == 0);
  CHECK(done.err == "audiopost: note: in.wav: 2 samples lie beyond full scale and were clipped\n");
  CHECK(payload(place.read("out.wav")) ==
        bytes_of(std::vector<int16_t>{0, 16384, -16384, 1, 0, 1, 32767, -32768}));
}

TEST_CASE("driver-compatible output is process_file's, and the start of what is written without the flag") {
  const Place place;
  place.write("raw.pcm", programme(10 * 1024 + 500, 2));
  for (const std::string& preset : host::preset_names()) {
    CAPTURE(preset);
    std::string run = "audiopost tuning new --preset ";
    run += preset;
    run += " -o 0522_48000HZ.bin && " PROCESS_FILE
           " && audiopost process raw.pcm same.pcm --raw -q -t 0522_48000HZ.bin --driver-compatible"
           " && audiopost process raw.pcm whole.pcm --raw -q -t ";
    run += preset;
    REQUIRE(place.run(run).status == 0);
    CHECK(place.read("process.pcm").size() == 10 * 4096);
    CHECK(place.read("same.pcm") == place.read("process.pcm"));
    CHECK(place.read("whole.pcm").substr(0, 10 * 4096) == place.read("process.pcm"));
  }
}

TEST_CASE("bad input is answered with one line, status 2 and no trace of an output") {
  const Place place;
  const Bytes samples = programme(3000, 2), good = wav(samples, 2);
  std::vector<float> floats(64);
  floats[9] = NAN;
  place.write("good.wav", good);
  place.write("short.wav", good.substr(0, good.size() - 1000));
  place.write("empty.wav", wav("", 2));
  place.write("nothing", "");
  place.write("nan.wav", wav(bytes_of(floats), 2, 32, 48000, 3));
  place.write("eight.wav", wav(programme(100, 8), 8));
  place.write("words.txt", "not a sound\n");
  place.write("odd.pcm", samples.substr(0, 4095));
  place.write("short.bin", Bytes(1999, '\0'));
  place.write("type.toml", "[chain]\nsample_rate = \"48000\"\n");
  place.write("slow.wav", wav(samples, 2, 16, 10));
  host::Record record = host::preset("flat");
  record[14] = 1, record[100] = 1, record[101] = 9;
  host::save_record(place.path + "/fatal.bin", record);
  record = host::preset("flat"), record[1] = 20;
  host::save_record(place.path + "/bits.bin", record);
  place.write("old.wav", "what was there before");
  REQUIRE(place.run("mkdir directory").status == 0);
  const struct {
    const char *arguments, *says;
  } rows[] = {
      {"process no.wav out.wav", "no.wav: no such file"},
      {"process directory out.wav", "directory: is a directory"},
      {"process good.wav directory", "directory: is a directory"},
      {"process good.wav missing/out.wav", "missing/out.wav: no such file"},
      {"process short.wav out.wav", "short.wav: is cut short: 11000 of 12000 bytes"},
      {"process short.wav old.wav", "short.wav: is cut short"},
      {"process - out.wav < short.wav", "standard input: is cut short"},
      {"process empty.wav out.wav", "empty.wav: holds no sound"},
      {"process nothing out.wav --raw", "nothing: holds no sound"},
      {"process - out.wav --raw < nothing", "standard input: holds no sound"},
      {"process nan.wav out.wav", "nan.wav: frame 4 is not a finite number"},
      {"process nan.wav old.wav", "nan.wav: frame 4"},
      {"process eight.wav out.wav", "eight.wav: has 8 channels"},
      {"process slow.wav out.wav", "slow.wav: a sample rate of 10 Hz"},
      {"process words.txt out.wav", "words.txt: not a sound file"},
      {"process odd.pcm out.pcm --raw", "odd.pcm: is cut short: it ends inside a frame"},
      {"process good.wav out.xyz", "out.xyz: the ending"},
      {"process good.wav out.wav -t no.toml", "no.toml: no such file"},
      {"process good.wav out.wav -t short.bin", "short.bin"},
      {"process good.wav out.wav -t type.toml", "type.toml:2"},
      {"process good.wav out.wav -t fatal.bin", "fatal.bin: EQ10"},
      {"process good.wav out.wav -t bits.bin", "bits.bin"},
      {"process good.wav out.wav --block 0", "block"},
      {"process good.wav", "OUT"},
      {"measure fatal.bin", "fatal.bin: EQ10"},
      {"measure music nan.wav", "nan.wav: frame 4"},
      {"plot fatal.bin -o out.svg", "fatal.bin: EQ10"},
      {"plot music -o missing/out.svg", "missing/out.svg"},
      {"report music short.wav -o out.html", "short.wav: is cut short"},
      {"report music good.wav -o directory", "directory: is a directory"},
      {"meter nan.wav --json", "nan.wav: frame 4"},
      {"meter directory", "directory: is a directory"},
  };
  const auto before = place.names();
  for (const auto& row : rows) {
    CAPTURE(std::string(row.arguments));
    const auto done = place.run(std::string("audiopost ") + row.arguments);
    CHECK(done.status == 2);
    CHECK(done.out.empty());
    CAPTURE(done.err);
    CHECK(one_line(done.err));
    CHECK(done.err.find(row.says) != std::string::npos);
    CHECK(place.names() == before);
  }
  CHECK(place.read("old.wav") == "what was there before");
}

TEST_CASE("an interrupted run takes its unfinished output away") {
  const Place place;
  // The pipe stays open at its other end, so the program waits for more until the signal comes.
  const auto done = place.run("mkfifo pipe; exec 3<>pipe; " AUDIOPOST
                              " process - out.pcm --raw < pipe & program=$!;"
                              "for i in $(seq 100); do ls | grep -q 'out.pcm.' && break; sleep 0.1; done;"
                              "kill -TERM $program; wait $program");
  CHECK(done.status == 2);
  CHECK(done.err == "audiopost: interrupted\n");
  CHECK(place.names().count("out.pcm") == 0);
  CHECK(place.names().size() == 3);  // ., .. and the pipe
}

TEST_CASE("the closing report says what the sound and the stages did") {
  const Place place;
  place.write("tone.wav", wav(tone(1000, -23, 5), 2));
  auto done = place.run("audiopost process tone.wav out.wav --json -t flat");
  CHECK(done.status == 0);
  CHECK(done.err.empty());
  CHECK(number(done.out, "frames") == 240000);
  for (const char* side : {"before", "after"}) {
    CAPTURE(std::string(side));
    CHECK(std::abs(number(done.out, "integrated_lufs", side) + 23) < 0.1);
    CHECK(std::abs(number(done.out, "true_peak_dbtp", side) + 23) < 0.2);
    CHECK(std::abs(number(done.out, "crest_db", side) - 3.01) < 0.02);
    CHECK(number(done.out, "full_scale_samples", side) == 0);
  }

  // +30 dB of channel gain clips; a limiter with 2 dB of make-up, and nothing over its threshold, lifts by just that.
  host::Record record = host::preset("flat");
  record[20] = record[25] = 30;
  host::save_record(place.path + "/loud.bin", record);
  done = place.run("audiopost process tone.wav out.wav --json -t loud.bin");
  CHECK(number(done.out, "clipped_samples") > 100000);
  CHECK(number(done.out, "full_scale_samples", "after") > 100000);
  record = host::preset("flat");
  record[17] = 1, record[400] = -3, record[401] = -1, record[402] = 1;
  host::save_record(place.path + "/limiter.bin", record);
  done = place.run("audiopost process tone.wav out.wav --json -t limiter.bin");
  CHECK(std::abs(number(done.out, "most_db", "limiter") - (2 + 20 * std::log10(0.998))) < 0.01);
  CHECK(std::abs(number(done.out, "integrated_lufs", "after") + 21) < 0.1);

  done = place.run("audiopost process tone.wav out.wav");
  CHECK(done.out.find("integrated loudness       -23.0") != std::string::npos);
  CHECK(done.out.find('\033') == std::string::npos);           // colours and bars are for terminals
  done = place.run("audiopost process tone.wav - > out.wav");  // standard output is the sound's
  CHECK(done.err.find("integrated loudness") != std::string::npos);
  CHECK(place.run("audiopost process tone.wav - -q > out.wav").err.empty());
  place.write("slow.wav", wav(programme(44100, 1), 1, 16, 44100));
  CHECK(place.run("audiopost process slow.wav out.wav").err ==
        "audiopost: note: music is for 48000 Hz and 2 channels; it runs at the stream's 44100 Hz and 1\n");
}

TEST_CASE("the gains that are reported are those that the settings ask for") {
  const Place place;
  place.write("tone.wav", wav(tone(1000, -23, 6), 2));
  const struct {
    const char* stage;
    size_t flag;
    int section;
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
      {"compressor",
       15,
       200,
       {2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 20, 16000, 5, 1, -10, -50, -60, 0, -1, 5, 50, 0},
       5 - 6.02},
  };
  for (const auto& row : rows) {
    CAPTURE(std::string(row.stage));
    host::Record record = host::preset("flat");
    record[2] = 1, record[row.flag] = 1, record[270] = 16000, record[271] = 20000;
    std::copy(row.settings.begin(), row.settings.end(), record.begin() + row.section);
    host::save_record(place.path + "/one.bin", record);
    const auto done = place.run("audiopost process tone.wav out.wav --json -t one.bin");
    REQUIRE(done.status == 0);
    CHECK(std::abs(number(done.out, "most_db", "gain\": {\"" + std::string(row.stage)) - row.most_dB) < 0.2);
  }
}

TEST_CASE("every JSON is well formed, whatever the file's name and however short or silent the sound") {
  const Place place;
  const std::string odd = "a \"b\" \\c\td.wav";
  for (const Bytes& samples : {tone(440, -20, 1), tone(440, -200, 1), tone(440, -20, 0.01)}) {
    place.write(odd, wav(samples, 2));
    for (const char* command : {"process \"$odd\" out.wav",
                                "measure speech \"$odd\" --tones 1000 --levels -20", "meter \"$odd\""}) {
      CAPTURE(std::string(command));
      const auto done = place.run("odd=$(ls a*); audiopost " + std::string(command) + " --json");
      CHECK(done.status == 0);
      CHECK(is_json(done.out));
    }
  }
  CHECK_FALSE(is_json("{\"a\": nan}\n"));
  CHECK_FALSE(is_json("[1, 2\n"));
}

TEST_CASE("a terminal gets a progress bar that leaves nothing behind") {
  const Place place;
  place.write("in.wav", wav(tone(440, -20, 5), 2));
  // script(1) gives the program a terminal.
  const auto run = [&](const std::string& environment) {
    return place
        .run("script -qec '" + environment + " " AUDIOPOST " process in.wav out.wav' /dev/null </dev/null")
        .out;
  };
  const std::string seen = run("");
  CHECK(seen.find(" %  ") != std::string::npos);
  CHECK(seen.find("\033[1m") != std::string::npos);
  CHECK(seen.rfind("\r\033[K") < seen.find("integrated loudness"));
  CHECK(run("NO_COLOR=1").find("\033[1m") == std::string::npos);
}

TEST_CASE("measure finds a bell where it was put, and says so as a table and as JSON") {
  const Place place;
  host::Record record = host::preset("flat");
  record[2] = 1, record[14] = 1;
  const float bell[] = {1, 0, 1000, 1, 6};
  std::copy(std::begin(bell), std::end(bell), record.begin() + 100);
  for (size_t b = 1; b < 10; ++b) record[100 + 5 * b] = 0;
  host::save_record(place.path + "/bell.bin", record);
  place.write("in.wav", wav(tone(1000, -23, 1), 2));
  const std::string json =
      place.run("audiopost measure bell.bin in.wav --json --tones 1000 --levels -20").out;
  CHECK(std::abs(number(json, "out_dbfs") + 14) < 0.02);
  CHECK(number(json, "thd_db") < -80);
  CHECK(number(json, "latency_frames") == 0);
  CHECK(std::abs(number(json, "integrated_lufs", "\"after\"") + 17) < 0.1);
  const std::string table = place.run("audiopost measure bell.bin --tones 1000 --levels -20").out;
  CHECK(table.find("\n      1000    +6.00    +6.00\n") != std::string::npos);
  CHECK(table.find("latency 0 frames") != std::string::npos);
}

TEST_CASE("plot draws what a tuning runs, report fills one page that needs nothing else") {
  const Place place;
  host::Record record = host::preset("music");
  for (size_t flag = 10; flag < 18; ++flag) record[flag] = 1;
  record[2] = 0;  // both channels on their own, the second one like the first
  for (const auto& [from, length] : {std::pair(60, 10), {100, 50}, {200, 100}, {400, 20}})
    std::copy_n(record.begin() + from, length, record.begin() + from + length);
  host::save_record(place.path + "/all.bin", record);
  const struct {
    std::string tuning;
    size_t charts;
  } rows[] = {{"music", 4}, {"all.bin", 14}};
  for (const auto& row : rows) {
    CAPTURE(row.tuning);
    CHECK(place.run("audiopost plot " + row.tuning + " -o out.svg").status == 0);
    const std::string svg = place.read("out.svg");
    CHECK(well_formed(svg));
    CHECK(svg.find("prefers-color-scheme:dark") != std::string::npos);
    CHECK(count(svg, "nan") + count(svg, "inf") == 0);
    CHECK(count(svg, "class='title'") == row.charts);
    CHECK(count(svg, ">measured<") == row.charts);
  }
  place.write("a<b&c.wav", wav(tone(440, -20, 4), 2));
  const auto done =
      place.run("audiopost process 'a<b&c.wav' out.wav && audiopost report music 'a<b&c.wav' -o out.html");
  CHECK(done.status == 0);
  const std::string page = place.read("out.html");
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

TEST_CASE("meter shows the band that sounds") {
  const Place place;
  place.write("tone.wav", wav(tone(1000, -20, 4), 2));
  const std::string json = place.run("audiopost meter tone.wav --json").out;
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

  const std::string table = place.run("audiopost meter tone.wav").out;
  CHECK(count(table, "\n") == 6);  // a head, a line a second, and the sum
  CHECK(table.find("integrated -20.0 LUFS") != std::string::npos);
  const std::string live =
      place.run("LC_ALL=C script -qec '" AUDIOPOST " meter tone.wav --fast' /dev/null </dev/null").out;
  CHECK(count(live, "\033[11A") == 79);  // redrawn in place
  CHECK(live.find("1000 Hz") != std::string::npos);
}
