// The chain against its exported functions called one after another. Built twice: as it is, and with two rows of the
// effect table the other way round.
#include <algorithm>

#include "full_record.h"
#include "lanes/target.h"
#include "modules.h"

using support::kModule;

namespace {

#if defined(SWAPPED)
#define TABLE "a table with EQ10 before DeEsser"
constexpr int kFourth = support::kEq10, kFifth = support::kDeEsser;
#else
#define TABLE "its table"
constexpr int kFourth = support::kDeEsser, kFifth = support::kEq10;
#endif
constexpr int kOrder[] = {support::kAutoGain, support::kBassEnhancer, support::kExciter, kFourth, kFifth,
                          support::kDrc,      support::kMaximizer};
constexpr int kFrames = 480, kBlocks = 60;

std::vector<int16_t> one_after_another(const support::Record& record, const std::vector<int16_t>& pcm) {
  void* effects[support::kModules];
  for (int m = 0; m < support::kModules; ++m)
    effects[m] = kModule[m].init(record.data() + kModule[m].section, {16, 48000, 2, kFrames, 0});
  std::vector<int16_t> out(pcm.size());
  support::Planar x({support::Samples(kFrames), support::Samples(kFrames)});
  for (size_t at = 0; at < pcm.size(); at += 2 * kFrames) {
    for (size_t i = 0; i < 2 * kFrames; ++i) {
      const float gain_dB = record[AUDIOPOST_GAIN_SECTION + i % 2 * AUDIOPOST_GAIN_STRIDE];
      x.data[i % 2][i / 2] = static_cast<float>(pcm[at + i]) * powf(10.0f, gain_dB / 20.0f);
    }
    for (const int m : kOrder) {
      if (m == support::kMaximizer) kModule[m].second_process(effects[m], x(), x(), kFrames);  // Agc
      kModule[m].process(effects[m], x(), x(), kFrames);
    }
    for (size_t i = 0; i < 2 * kFrames; ++i)
      out[at + i] = static_cast<int16_t>(std::clamp(x.data[i % 2][i / 2], -32768.0f, 32767.0f));
  }
  for (int m = 0; m < support::kModules; ++m) kModule[m].destroy(effects[m]);
  return out;
}

}  // namespace

TEST_CASE("in every kernel row the chain is its exported functions in the order of " TABLE) {
  const support::Record record = support::full_record();
  const std::vector<int16_t> pcm = support::noise_pcm(2 * kFrames * kBlocks);
  for (int row = 0; row < lanes::kTargetCount; ++row) {
    if (!lanes::kTargets[row]->runs_here()) continue;
    CAPTURE(lanes::kTargets[row]->name);
    lanes::use_target(*lanes::kTargets[row]);
    CHECK(support::through_chain(support::chain_of(record.data(), kFrames).get(), pcm, 2, kFrames) ==
          one_after_another(record, pcm));
  }
}
