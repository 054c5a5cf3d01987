// Random and mutated tuning records with what the checker finds in them.
#pragma once

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "bench/signal.h"
#include "host/check.h"
#include "host/fields.h"

namespace records {

using host::Record;

class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}
  uint32_t below(uint32_t n) { return static_cast<uint32_t>(engine_() % n); }
  bool one_in(uint32_t n) { return below(n) == 0; }
  float between(float least, float most) {
    return least + (most - least) * static_cast<float>(engine_()) * 0x1p-32f;
  }
  // Evenly spread in octaves.
  float between_hz(float least, float most) {
    return least * std::exp2(between(0.0f, std::log2(most / least)));
  }
  template <size_t N>
  float pick(const float (&from)[N]) {
    return from[below(N)];
  }

 private:
  std::mt19937 engine_;
};

struct Case {
  Record record;
  int block;
  std::vector<host::Finding> findings;
};

// What a slip of the hand, a wrong unit or a broken file makes of a value.
inline float near(Random& random, float value) {
  constexpr float kSlips[] = {0,    -1,     1,     2,        3,         5,   9,   10.5f, 12,   1e-30f,
                              1e9f, -1e12f, -0.0f, INFINITY, -INFINITY, NAN, 100, 1000,  24000};
  switch (random.below(5)) {
    case 0:
      return random.pick(kSlips);
    case 1:
      return -value;
    case 2:
      return value + random.between(0, 10);
    default:
      return value * random.between(0, 3);
  }
}

// Any value that a tuner may set.
inline float in_range(Random& random, const host::Field& field, float half_rate) {
  const std::string unit = field.unit, name = field.name;
  if (field.kind == host::Kind::flag) return float(random.below(2));
  if (field.kind == host::Kind::filter) return float(random.below(8));
  if (name == "freq") return random.between_hz(10, half_rate / 3.01f);
  if (unit == "Hz") return random.between_hz(10, half_rate * 0.9999f);
  if (unit == "ms") return std::round(random.between_hz(1, 5000));
  if (std::isfinite(field.least)) return random.between(field.least, field.most);
  if (name == "Q") return random.between_hz(0.01f, 16);
  if (name == "boost") return random.between(-20, 20);
  if (name == "crossover_band") return float(2 + random.below(3));
  if (name == "noise_threshold") return random.between(-90, -60);
  if (name == "expand_end") return random.between(-60, -45);
  if (name == "compress_start") return random.between(-45, -5);
  if (name == "max_gain") return random.between(-10, 25);
  if (name == "max_peak") return random.between(-20, 0);
  return unit == "dB" ? random.between(-20, 20) : random.between(-60, 0);
}

inline void all_in_range(Random& random, Record& record) {
  for (const host::Table& table : host::tables())
    for (const host::Field& field : table.fields)
      if (field.index >= 20)
        record[size_t(field.index)] = in_range(random, field, record[AUDIOPOST_SAMPLE_RATE] / 2);
  for (size_t band = 100; band < 200; band += 5)
    if (record[band + 1] >= ButterworthLP) record[band + 4] = 0;
}

// Bands in range, each at an end of it.
inline void extreme_equalizer(Random& random, Record& record) {
  constexpr float kBoost[] = {-20, 20, 20, 0}, kQ[] = {0.01f, 0.1f, 0.7f, 2, 8, 11, 16};
  const float half = record[AUDIOPOST_SAMPLE_RATE] / 2;
  record[14] = 1;
  for (size_t band = 100; band < 200; band += 5) {
    record[band] = float(random.below(2)), record[band + 1] = float(random.below(8));
    record[band + 2] =
        random.one_in(2) ? random.between_hz(1, half) : half - random.between_hz(0.5f, half / 2);
    record[band + 3] = random.one_in(2) ? random.pick(kQ) : random.between_hz(0.01f, 16);
    record[band + 4] = random.one_in(2) && record[band + 1] < 6 ? random.pick(kBoost) : 0;
  }
}

inline void mutate(Random& random, Record& record, uint32_t most) {
  const std::vector<host::Table>& all = host::tables();
  for (uint32_t i = random.below(most + 1); i > 0; --i) {
    const host::Table& table = all[random.below(uint32_t(all.size()))];
    float& value = record[size_t(table.fields[random.below(uint32_t(table.fields.size()))].index)];
    value = near(random, value);
  }
}

// Records that people start from, with settings for both channels, linked or not.
inline std::vector<Record> starting_points() {
  std::vector<Record> all;
  for (const char* const name : {"tv", "music", "speech", "night"}) {
    all.push_back(host::preset(name));
    for (const host::Table& table : host::tables())
      if (table.channel == 1) host::copy_from_channel0(all.back(), table);
  }
  all.push_back(bench::full_record());
  return all;
}

inline Case make_case(uint32_t seed) {
  static const std::vector<Record> starts = starting_points();
  constexpr float kRates[] = {8000, 16000, 32000, 44100, 48000, 48000, 48000, 48000, 88200, 96000, 192000};
  constexpr int kBlocks[] = {64, 480, 1024};
  Random random(seed);
  Case c{starts[random.below(uint32_t(starts.size()))], kBlocks[random.below(3)], {}};
  c.record[AUDIOPOST_SAMPLE_RATE] = random.pick(kRates);
  c.record[AUDIOPOST_BIT_RATE] = random.one_in(6) ? random.one_in(2) ? 24.0f : 32.0f : 16.0f;
  c.record[AUDIOPOST_CHANNELS] = random.one_in(8) ? float(random.below(7)) : float(1 + random.below(2));
  c.record[AUDIOPOST_CHANNEL_LINK] = float(random.below(2));
  for (size_t flag = 10; flag < 18; ++flag) c.record[flag] = float(random.below(2));
  switch (random.below(4)) {
    case 0:
      mutate(random, c.record, 6);
      break;
    case 1:
      all_in_range(random, c.record);
      break;
    case 2:
      extreme_equalizer(random, c.record);
      break;
    default:
      all_in_range(random, c.record), mutate(random, c.record, 20);
      break;
  }
  c.findings = host::check(c.record, c.block);
  return c;
}

}  // namespace records
