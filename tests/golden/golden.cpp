// golden TUNING [EXPECTED]: prints a digest of what each effect and the whole chain make of a sound, or compares the
// digests, made with every kernel that runs here, with those of a file: the same on every processor, in every build.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include "lanes/target.h"
#include "support.h"

namespace {

using support::Record;

constexpr int kFrames = 28800, kSampleRate = 48000;
constexpr int kFirstFlag = 10, kFlags = 8;
const char* const kEffects[kFlags] = {"AutoGain", "BassEnhancer", "Exciter", "DeEsser",
                                      "EQ10",     "MultiBandDRC", "Agc",     "Maximizer"};
const struct { int channels, link; } kLayouts[] = {{1, 0}, {2, 0}, {2, 1}};
const struct {
  int bit_rate;
  float gain_dB;  // lifts the 16-bit input to the scale of the bit_rate
} kFormats[] = {{16, 0.0f}, {24, 48.164799f}, {32, 96.3296f}};

// FNV-1a, 64 bits.
template <class T>
std::string digest(const std::vector<T>& items) {
  uint64_t value = 0xcbf29ce484222325u;
  const auto* byte = reinterpret_cast<const unsigned char*>(items.data());
  for (size_t i = 0; i < items.size() * sizeof(T); ++i) value = (value ^ byte[i]) * 0x100000001b3u;
  char text[18];
  std::snprintf(text, sizeof text, " %016llx", static_cast<unsigned long long>(value));
  return text;
}

// ---- Sound: integers only, so that it is the same everywhere --------------------------------------------
int triangle(uint32_t phase) {  // -32768 ... 32767
  const int ramp = static_cast<int>(phase >> 15);
  return (ramp < 65536 ? ramp : 131071 - ramp) - 32768;
}

// Six scenes of a tenth of a second: chord, silence, soft noise, full-scale noise, swell, sharp bursts.
std::vector<int16_t> make_sound(int channels) {
  std::vector<int16_t> pcm;
  uint32_t low = 0, middle = 0, high = 0, random = 1;
  for (int i = 0; i < kFrames; ++i) {
    const int scene = i / 4800, at = i % 4800;
    for (int ch = 0; ch < channels; ++ch) {
      random ^= random << 13, random ^= random >> 17, random ^= random << 5;
      const int noise = static_cast<int>(random >> 16) - 32768;
      const int chord = triangle(low) / 2 + triangle(middle + (ch ? 1u << 30 : 0)) / 4 + triangle(high) / 8;
      const int scenes[] = {chord * 3 / 4,     0,
                            noise / 100,       noise,
                            chord / 4800 * at, at % 900 < 300 ? noise / 3 + triangle(high) / 2 : chord / 50};
      pcm.push_back(int16_t(ch ? scenes[scene] / 2 : scenes[scene]));
    }
    low += 6000000u, middle += 75000000u, high += 610000000u;  // 67 Hz, 838 Hz, 6.8 kHz
  }
  return pcm;
}

// ---- Cases ----------------------------------------------------------------------------------------------
bool read_tuning(const char* path, Record& record) {
  std::ifstream text(path);
  bool any = false;
  for (std::string line; std::getline(text, line); any = true) {
    std::istringstream words(line.substr(0, line.find('#')));
    size_t index = 0;
    if (!(words >> index)) continue;
    for (float value; words >> value; ++index) record.at(index) = value;
    if (!words.eof()) return false;
  }
  return any;
}

std::string chain_digest(const Record& record, int block) {
  const int channels = int(record[3]);
  const auto chain = support::chain_of(record.data(), block);
  return digest(support::through_chain(chain.get(), make_sound(channels), channels, block));
}

// Where the mathematics library matters most: every kind of design over the range of its settings. Nearer to half
// the sample rate a band-pass of seven octaves overflows, and the sign of a NaN is nobody's promise.
std::string design_digest(int type) {
  std::vector<std::array<float, 5>> coeffs;
  for (float fc = 10.0f; fc < 22000.0f; fc *= 1.013f)
    for (float q : {0.05f, 0.5f, 0.7071f, 1.0f, 1.9f, 7.0f})
      for (float gain_dB : {-20.0f, -3.3f, 0.0f, 0.1f, 12.0f})
        filter_calculateCoeffs(coeffs.emplace_back().data(), type, kSampleRate, fc, q, gain_dB);
  return digest(coeffs);
}

std::string level_digest(int bit_rate) {
  const std::vector<int16_t> pcm = make_sound(2);
  LevelDetectorState* const meter = LevelDetector_Init(bit_rate, kSampleRate, 2, 480);
  std::vector<LevelDetectorResult> results;
  for (size_t at = 0; at < pcm.size(); at += 960) {
    LevelDetector_Process(meter, &pcm[at], 480);
    LevelDetector_GetRes(meter, &results.emplace_back());
  }
  LevelDetector_Destroy(meter);
  return digest(results);
}

using Lines = std::map<std::string, std::string>;  // digests of a group of cases

// One line per block length: for each format, each layout's digest.
void add_chain_cases(Lines& lines, const char* name, const Record& tuning, int first_flag, int last_flag) {
  for (int block : {64, 480, 1024})
    for (const auto& format : kFormats)
      for (const auto& layout : kLayouts) {
        Record record = support::plain_record(layout.channels, format.bit_rate, kSampleRate);
        record[2] = float(layout.link);
        for (int flag = first_flag; flag <= last_flag; ++flag) record[size_t(kFirstFlag + flag)] = 1;
        std::copy(tuning.begin() + 20, tuning.end(), record.begin() + 20);
        for (size_t gain : {20u, 25u}) record[gain] += format.gain_dB;
        lines[name + (" " + std::to_string(block))] += chain_digest(record, block);
      }
}

Lines all_cases(const Record& tuning) {
  Lines lines;
  add_chain_cases(lines, "dry", tuning, 0, -1);
  for (int flag = 0; flag < kFlags; ++flag) add_chain_cases(lines, kEffects[flag], tuning, flag, flag);
  add_chain_cases(lines, "chain", tuning, 0, kFlags - 1);
  for (int type = Parametric; type <= ButterworthHP; ++type)
    lines["filter_calculateCoeffs"] += design_digest(type);
  for (const auto& format : kFormats) lines["LevelDetector"] += level_digest(format.bit_rate);
  return lines;
}

// Prints the lines that differ, and returns whether there are any.
bool differ(const Lines& got, const char* path) {
  std::ifstream file(path);
  Lines expected;
  for (std::string label; std::getline(file, label, ':');) std::getline(file, expected[label]);
  for (const auto& [label, digests] : got)
    if (digests != expected[label])
      std::cout << label << ":" << digests << ", not" << expected[label] << "\n";
  std::cout << lanes::target().name << ": " << got.size() << " lines of digests, "
            << (got == expected ? "as expected\n" : "not as expected\n");
  return got != expected;
}

}  // namespace

int main(int argc, char** argv) {
  Record tuning{};
  if (argc < 2 || argc > 3 || !read_tuning(argv[1], tuning)) {
    std::cerr << "usage: golden TUNING [EXPECTED]\n";
    return 1;
  }
  if (argc == 2)
    for (const auto& [label, digests] : all_cases(tuning)) std::cout << label << ":" << digests << "\n";
  bool differs = false;
  for (int row = 0; argc == 3 && row < lanes::kTargetCount; ++row) {
    if (!lanes::kTargets[row]->runs_here()) continue;
    lanes::use_target(*lanes::kTargets[row]);
    differs |= differ(all_cases(tuning), argv[2]);
  }
  return differs;
}
