// Records that mean harm: every float of a full record, one at a time, as anything but a setting.
#include "full_record.h"

using namespace support;

TEST_CASE("any value in any field is processed, or ends the process in a documented way") {
  const float values[] = {NAN, INFINITY, -INFINITY, 1e-40f, 0x1p31f, -0x1p31f, 3.4e38f, -3.0f};
  const char* const ends[] = {"You should choose a filter type!", "Too Many Channel!",
                              "frameLen is greater than steps!"};
  constexpr int kFrames = 64;
  const Record base = full_record();

#if defined(EMULATED)  // a fork is slow there
  constexpr size_t kStep = 10;
#else
  constexpr size_t kStep = 1;
#endif

  const auto run = [](const Record& first, const Record& second) {
    return in_child([&] {
      const Chain chain = chain_of(first.data(), kFrames);
      std::vector<int16_t> room(kFrames * 1024);
      if (chain) AudioPost_Process(chain.get(), room.data(), room.data(), 2, kFrames);
      Record got{};
      AudioPost_GetPara(chain.get(), got.data());
      AudioPost_SetPara(chain.get(), second.data(), kFrames);
      if (chain) AudioPost_Process(chain.get(), room.data(), room.data(), 2, kFrames);
    });
  };
  for (size_t i = 0; i < AUDIOPOST_PARAM_LENGTH; i += kStep)
    for (float value : values) {
      Record record = base;
      record[i] = value;
      // As the record of a new chain, then as the one that retunes it.
      for (const Outcome& outcome : {run(record, base), run(base, record)}) {
        CAPTURES(i, value, outcome.signal);
        bool documented = outcome.status == 0;
        for (const char* end : ends)
          documented |= outcome.status == kExitMinusOne && outcome.err.find(end) != std::string::npos;
        REQUIRE(documented);
      }
    }
}
