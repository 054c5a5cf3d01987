// What the library allocates, and what it does when it can't: the functions below take the place of the C library's in
// this program.
#include <dlfcn.h>
#include <unistd.h>

#include <filesystem>

#include "full_record.h"

#if !defined(__SANITIZE_ADDRESS__)  // the sanitizer puts its own in their place

// NOLINTBEGIN(bugprone-reserved-identifier,readability-inconsistent-declaration-parameter-name): the C library's names
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void __libc_free(void*);

static long calls = 0;                 // of any of the four
static long live = 0;                  // blocks
static long until_failure = 0;         // the call that fails; 0 is none
static bool failing_for_good = false;  // and every call after it
static bool failed = false;

static bool refused() {
  ++calls;
  if (until_failure == 0 || --until_failure > 0) return false;
  if (failing_for_good) until_failure = 1;
  return failed = true;
}
static void* counted(void* block) { return live += block != nullptr, block; }
void* malloc(size_t size) { return refused() ? nullptr : counted(__libc_malloc(size)); }
void* calloc(size_t count, size_t size) { return refused() ? nullptr : counted(__libc_calloc(count, size)); }
void* realloc(void* old, size_t size) {
  if (refused()) return nullptr;
  live += old == nullptr;
  return __libc_realloc(old, size);
}
void free(void* block) { ++calls, live -= block != nullptr, __libc_free(block); }
}
// NOLINTEND(bugprone-reserved-identifier,readability-inconsistent-declaration-parameter-name)

namespace {

using namespace support;

constexpr int kFrames = 256;
const std::vector<int16_t> kInput = noise_pcm(kFrames * 2);

void process(AudioPostState* chain) {
  int16_t output[kFrames * 2];
  AudioPost_Process(chain, kInput.data(), output, 2, kFrames);
}

// Runs attempt() with the first, the second, … allocation failing (and all further ones, the second time round), until
// it gets by without the failure. Returns how many it took.
template <class Attempt>
int with_each_failure(Attempt attempt) {
  int failures = 0;
  for (bool for_good : {false, true})
    for (long n = 1;; ++n) {
      until_failure = n, failing_for_good = for_good, failed = false;
      const bool spared = attempt();
      if (spared) break;
      ++failures;
    }
  return failures;
}

// Ends the failing; whether there was none.
bool disarm() {
  until_failure = 0;
  return !failed;
}

}  // namespace

TEST_CASE(
    "processing, reading settings and turning EQ knobs allocate and free nothing, with every effect on") {
  AudioPostState* chain = AudioPost_Init(full_record().data(), kFrames);
  REQUIRE(chain);
  const long created = calls;
  Record settings = full_record();
  for (int block = 0; block < 100; ++block) {
    process(chain);
    AudioPost_GetPara(chain, settings.data());
    AudioPost_EQ10_GetPara(chain, settings.data() + 100);
    AudioPost_EQ10_SetPara(chain, settings.data() + 100);
  }
  CHECK(calls == created);
  AudioPost_Destroy(chain);
  CHECK(calls > created);
}

TEST_CASE("Init without memory returns null and leaves nothing behind, whichever allocation fails") {
  const Record record = full_record();
  AudioPost_Destroy(AudioPost_Init(record.data(), kFrames));
  bool null = true, clean = true;
  const int failures = with_each_failure([&] {
    const long before = live;
    AudioPostState* chain = AudioPost_Init(record.data(), kFrames);
    const bool spared = disarm();
    null &= spared == (chain != nullptr);
    AudioPost_Destroy(chain);
    clean &= live == before;
    return spared;
  });
  CHECK(failures > 40);
  CHECK(null);
  CHECK(clean);
}

TEST_CASE("SetPara and GetPara without memory leave a chain that can be processed, retuned and destroyed") {
  Record three_bands = full_record();
  three_bands[33] = 600, three_bands[200] = three_bands[300] = 3;  // a new meter, new crossovers
  const struct { Record from, to; } rows[] = {{plain_record(), full_record()}, {full_record(), three_bands}};
  for (const auto& r : rows) {
    bool clean = true;
    const int failures = with_each_failure([&] {
      const long n = until_failure, before = live;
      until_failure = 0;
      AudioPostState* chain = AudioPost_Init(r.from.data(), kFrames);
      until_failure = n;
      AudioPost_SetPara(chain, r.to.data(), kFrames);
      Record got;
      AudioPost_GetPara(chain, got.data());
      const bool spared = disarm();
      process(chain);
      AudioPost_SetPara(chain, r.to.data(), kFrames);
      process(chain);
      AudioPost_Destroy(chain);
      clean &= live == before;
      return spared;
    });
    CHECK(failures > 6);
    CHECK(clean);
  }
}

TEST_CASE("a compressor that finds no memory for a crossover gets it with the next retune") {
  Record four = full_record(), three;
  for (size_t flag : {10, 11, 12, 13, 14, 16, 17}) four[flag] = 0;
  three = four, three[200] = three[300] = 3;
  const auto expected = through_chain(chain_of(four.data(), kFrames).get(), kInput, 2, kFrames);
  bool same = true;
  const int failures = with_each_failure([&] {
    const long n = until_failure;
    until_failure = 0;
    const Chain chain = chain_of(three.data(), kFrames);
    until_failure = n;
    AudioPost_SetPara(chain.get(), four.data(), kFrames);
    const bool spared = disarm();
    AudioPost_SetPara(chain.get(), four.data(), kFrames);
    same &= through_chain(chain.get(), kInput, 2, kFrames) == expected;
    return spared;
  });
  CHECK(failures > 6);
  CHECK(same);
}

TEST_CASE("a library that is loaded and unloaded leaves nothing behind") {
  // Under another name: this program has it loaded already.
  const auto copy = std::filesystem::temp_directory_path() / ("loaded_" + std::to_string(getpid()) + ".so");
  std::filesystem::copy_file(LIBRARY_FILE, copy);
  long left[3];
  for (long& blocks : left) {
    void* const library = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
    REQUIRE(library);
    dlclose(library);
    CHECK(!dlopen(copy.c_str(), RTLD_NOW | RTLD_NOLOAD));
    blocks = live;
  }
  CHECK(left[2] == left[1]);  // the first time the loader keeps some
  std::filesystem::remove(copy);
}

#endif
