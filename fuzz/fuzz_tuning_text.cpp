// Any bytes as a tuning text: an error that names a place, or a record that comes back from its own text unchanged.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "host/tuning.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  host::Record record;
  try {
    record = host::from_text({reinterpret_cast<const char*>(data), size}, "text");
  } catch (const host::FileError& error) {
    if (error.file != "text") std::abort();
    return 0;
  }
  const host::Record again = host::from_text(host::to_text(record), "again");
  if (std::memcmp(record.data(), again.data(), sizeof record) != 0) std::abort();
  return 0;
}
