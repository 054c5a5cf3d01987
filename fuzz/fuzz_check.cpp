// Any record through the checker, at any block length; and what it passes through a chain, which must not end there.
// Input: two bytes of block length, then the record.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz/fuzz.h"
#include "host/check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int block = input.raw<uint16_t>() % 2048 + 1;
  host::Record record;
  for (float& value : record) value = input.number();
  if (size > 2 && data[2] & 1) record[AUDIOPOST_TOOL_VERSION] = 2.0f;
  if (size > 2 && data[2] & 2) record[AUDIOPOST_BIT_RATE] = 16.0f;
  if (size > 2 && data[2] & 4) record[AUDIOPOST_CHANNELS] = 2.0f;
  const bool unusable = host::unusable(host::check(record, block));
  if (unusable) return 0;  // proving it would need a process to end
  bool created = false;
  const bool completed = fuzz::completes([&] {
    AudioPostState* const chain = AudioPost_Init(record.data(), block);
    created = chain != nullptr;
    const int channels = std::max(host::field_as_int(record, AUDIOPOST_CHANNELS), 1);
    std::vector<int16_t> pcm(static_cast<size_t>(block) * static_cast<size_t>(channels), 1000);
    AudioPost_Process(chain, pcm.data(), pcm.data(), channels, block);
    AudioPost_Destroy(chain);
  });
  if (!completed || !created) std::abort();
  return 0;
}
