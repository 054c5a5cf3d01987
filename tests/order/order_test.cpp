// Built with two rows of the effect table the other way round; the table as it is: internal/kernels_test.cpp.
#include "internal/by_hand.h"
#include "internal/run_job.h"

using namespace support;

TEST_CASE("in every kernel row a chain of a table with EQ10 before DeEsser plays in that order") {
  constexpr int kFrames = 480;
  Record record = full_record();
  record[AUDIOPOST_GAIN_SECTION] = record[AUDIOPOST_GAIN_SECTION + AUDIOPOST_GAIN_STRIDE] = 0;
  for_each_row([&](const lanes::Target&) {
    ByHand by_hand(record, 2, kFrames, 0,
                   {kAutoGain, kBassEnhancer, kExciter, kEq10, kDeEsser, kDrc, kMaximizer});
    const Chain chain = chain_of(record.data(), kFrames);
    for (uint32_t block = 0; block < 60; ++block) {
      const auto pcm = noise_pcm(2 * kFrames, block);
      REQUIRE(through_chain(chain.get(), pcm, 2, kFrames) == by_hand.process(pcm));
    }
  });
}
