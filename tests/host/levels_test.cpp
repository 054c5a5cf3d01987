// Levels that no float holds, effect by effect, from both sides; what comes of those that pass: check_records.
#include "full_record.h"
#include "host/check.h"
#include "host/fields.h"

using host::Record;

namespace {

// The effect at that flag alone, with settings that people use.
Record only(size_t flag) {
  Record record = host::preset("tv");
  for (size_t f = 10; f < 18; ++f) record[f] = 0.0f;
  if (flag) record[flag] = 1.0f;
  return record;
}

int rule_of_refusal(const Record& record) {
  const std::vector<host::Finding> findings = host::check(record, 480);
  const host::Finding* const refusal = host::refusal(findings);
  return refusal ? refusal->cause.rule : 0;
}

}  // namespace

TEST_CASE("an effect is refused, by its name, from where its settings give more than a float holds") {
  const struct {
    size_t flag, index;
    float passes, refused;
    std::string where;
  } rows[] = {
      {10, 20, 200, 400, "AutoGain"},                 // squared by the meter
      {11, 60, 500, 640, "BassEnhancer channel 0"},   // level of the harmonics
      {11, 20, 200, 400, "BassEnhancer channel 0"},   // squared by its shaper
      {12, 83, 1e20f, 1e38f, "Exciter channel 0"},    // mix
      {12, 81, -10, -18, "Exciter channel 0"},        // its drive, a small one scaled back up
      {13, 20, 200, 400, "DeEsser channel 0"},        // squared by the detector
      {14, 20, 600, 640, "EQ10 channel 0"},           // boosts of its bands
      {15, 217, 300, 800, "MultiBandDRC channel 0"},  // greatest gain of a band, dB
      {15, 20, 500, 649, "MultiBandDRC channel 0"},   // the crossover sums
      {16, 406, 300, 800, "Agc channel 0"},           // likewise
      {16, 20, 200, 400, "Agc channel 0"},            // squared by its level
      {17, 401, 500, 760, "Maximizer channel 0"},     // ceiling, dB
      {17, 400, -30, -1000, "Maximizer channel 0"},   // and threshold, from which it makes up to the ceiling
  };
  for (const auto& r : rows) {
    CAPTURES(r.flag, r.index);
    Record record = only(r.flag);
    record[r.index] = r.passes;
    CHECK(rule_of_refusal(record) == 0);
    record[r.index] = r.refused;
    CHECK(rule_of_refusal(record) == AUDIOPOST_RULE_LEVEL);
    CHECK(host::refusal(host::check(record, 480))->where == r.where);
  }
  Record passing = only(0);
  passing[20] = 640;
  CHECK(rule_of_refusal(passing) == 0);
}

TEST_CASE("gains of bands that follow each other add up to a refusal, wherever a channel takes them from") {
  Record record = only(14);
  for (int band = 100; band < 200; band += 5)  // 200 dB a channel
    support::put(record, band, {1, Parametric, 1000, 1, 20});
  record[20] = 250;
  CHECK(rule_of_refusal(record) == 0);
  record[20] = record[25] = 550;
  CHECK(rule_of_refusal(record) == AUDIOPOST_RULE_LEVEL);
  // 200 dB fit, 400 dB do not: an enable of 11 makes channel 0 run channel 1's bands as well.
  record[AUDIOPOST_CHANNEL_LINK] = 0, record[20] = record[25] = 350;
  CHECK(rule_of_refusal(record) == 0);
  record[100] = 11;
  CHECK(rule_of_refusal(record) == AUDIOPOST_RULE_LEVEL);
}
