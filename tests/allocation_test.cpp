// Counts what the library allocates: the functions below take the place of the C library's in this program.
#include <fstream>
#include <sstream>

#include "support.h"

#if !defined(__SANITIZE_ADDRESS__)  // the sanitizer puts its own in their place

extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void __libc_free(void*);

static long calls = 0;
void* malloc(size_t size) { return ++calls, __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return ++calls, __libc_calloc(count, size); }
void* realloc(void* old, size_t size) { return ++calls, __libc_realloc(old, size); }
void free(void* block) { ++calls, __libc_free(block); }
}

namespace {

support::Record starter_record() {
  support::Record record{};
  std::ifstream text(TUNINGS "/music.txt");
  for (std::string line; std::getline(text, line);) {
    std::istringstream words(line);
    size_t index = 0;
    float value = 0;
    if (words >> index >> value) record.at(index) = value;
  }
  REQUIRE(record[4] == 2.0f);
  return record;
}

}  // namespace

TEST_CASE("processing allocates and frees nothing, with every effect on") {
  const support::Record record = starter_record();
  const std::vector<int16_t> input = support::noise_pcm(480 * 2);
  std::vector<int16_t> output(input.size());
  const long before = calls;
  AudioPostState* chain = AudioPost_Init(record.data(), 480);
  REQUIRE(chain);
  CHECK(calls > before);
  const long created = calls;
  for (int block = 0; block < 100; ++block) AudioPost_Process(chain, input.data(), output.data(), 2, 480);
  CHECK(calls == created);
  AudioPost_Destroy(chain);
  CHECK(calls > created);
}

#endif
