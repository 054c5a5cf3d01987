// How the library meets shortage of memory: no exception crosses the C interface, and sizes that no device
// could serve are refused before anything is allocated.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>

namespace common {

constexpr int kMaxChannels = 1024;
constexpr int64_t kMaxSamples = int64_t{1} << 26;  // in one set of channel buffers: 256 MiB

// Whether buffers of `frames` samples for each of `channels` channels may be asked for. Counts below 1 need
// none.
inline bool servable(int64_t channels, int64_t frames) {
  if (channels > kMaxChannels || frames > kMaxSamples) return false;
  return channels < 1 || frames < 1 || channels * frames <= kMaxSamples;
}

// A count that a caller gave, as the size of an array: nothing for a negative one.
inline size_t array_size(int count) { return count > 0 ? static_cast<size_t>(count) : 0; }

// What `work` returns; null, or nothing for work that returns nothing, when memory runs out on the way.
template <class Work>
auto null_without_memory(Work work) -> decltype(work()) {
  try {
    return work();
  } catch (const std::exception&) {  // bad_alloc, or length_error of a container
    return decltype(work())();
  }
}

// What the Destroy functions answer: -3 without a record.
template <class Record>
int destroy(Record* record) {
  if (!record) return -3;
  delete record;
  return 0;
}

}  // namespace common
