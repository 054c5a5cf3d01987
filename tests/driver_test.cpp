// The library's `main`, in a directory of its own: it is called where a loader finds it, in a child process.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include "place.h"
#include "support.h"

using namespace support;

namespace {

using Pcm = std::vector<int16_t>;
constexpr int kBlock = 1024;

std::string bytes(const void* data, size_t size) { return {static_cast<const char*>(data), size}; }

struct Directory : Place {
  // Runs the driver here; afterwards the child prints the arguments that it was to leave behind.
  Outcome run() const {
    return in_child([&] {
      using Main = int (*)(int, char**);
      const auto driver = reinterpret_cast<Main>(dlsym(dlopen(LIBRARY_FILE, RTLD_NOW), "main"));
      char name[] = "process_file";
      char* argv[4] = {name, nullptr, nullptr, nullptr};
      if (!driver || chdir(path.c_str()) != 0 || driver(1, argv) != 0) std::exit(9);
      std::printf("%s %s %s\n", argv[1], argv[2], argv[3]);
    });
  }
};

}  // namespace

TEST_CASE("the driver sends whole blocks of its input through the chain, and says what is wrong on the way") {
  enum Result { kError, kNothing, kChain, kCopy, kUnread };  // what it leaves in the output file
  const char rate[] = "Sample rate is wrong \n", write[] = "file write error\n";
  const struct {
    const char* fault;
    Result result;
    const char* message = "?";
    size_t times = 0;
    int frames = 2 * kBlock;
    size_t index = 20;  // of the tuning, given this value
    float value = -6;
    size_t tuning_bytes = 2000;
  } rows[] = {
      {"none", kChain},
      {"less than a block", kNothing, "?", 0, kBlock - 1},
      {"a partial block", kChain, "?", 0, 3 * kBlock - 1},
      {"no tuning", kError},
      {"short tuning", kError, "?", 0, kBlock, 20, -6, 1999},
      {"long tuning", kChain, "?", 0, kBlock, 20, -6, 2004},
      {"wrong version", kCopy, "you should use version 2.00!", 1, kBlock, 4, 1},
      {"more channels", kCopy, "The record has more channels than the file\n", 1, kBlock, 3, 1024},
      {"more channels than an effect has", kNothing, "Too Many Channel!", 1, kBlock, 3, 3},
      {"wrong rate", kChain, rate, 1, kBlock, 0, 44100},
      {"rate truncated", kChain, rate, 0, kBlock, 0, 48000.9f},
      {"no input", kNothing, "open file fail", 1},
      {"output cannot be opened", kUnread, write, 2},
      {"output is full", kUnread, write, 1},  // its first block is only buffered
  };
  for (const auto& r : rows) {
    const std::string fault = r.fault;
    CAPTURE(fault);
    const Directory directory;
    const Pcm input = noise_pcm(r.frames * 2);
    Record halving = plain_record();
    halving[20] = halving[25] = -6.0f;
    std::vector<float> tuning(halving.begin(), halving.end());
    tuning.resize(501), tuning[r.index] = r.value;
    const bool ended = fault == "more channels than an effect has";
    if (ended) tuning[AUDIOPOST_EXCITER_ENABLE] = 1;
    if (fault != "no input") directory.write("raw.pcm", bytes(input.data(), input.size() * 2));
    if (fault != "no tuning") directory.write("0522_48000HZ.bin", bytes(tuning.data(), r.tuning_bytes));
    const auto output = directory.of("process.pcm");
    if (fault == "output cannot be opened") std::filesystem::create_directory(output);
    if (fault == "output is full") std::filesystem::create_symlink("/dev/full", output);

    const auto child = directory.run();
    CHECK(child.status == (r.result == kError || ended ? 255 : 0));
    // "Finished, speech_time = 0.000000, cost_time = 0.012345", and the arguments
    const std::string told = child.out.substr(0, child.out.find("cost_time = ")),
                      finished = "Finished, speech_time = 0.000000, ";
    CHECK(told == (ended ? "" : r.result == kError ? "error\n" : finished));
    CHECK(count(child.out, "\nraw.pcm process.pcm 0522_48000HZ.bin\n") == (told == finished));
    CHECK(count(child.err, r.message) == r.times);
    CHECK(count(child.err, "open file fail") == (fault == "no input" || fault == "output cannot be opened"));
    if (r.result == kUnread) continue;
    const Chain chain = chain_of(halving.data(), kBlock);
    const Pcm expected = r.result == kChain  ? through_chain(chain.get(), input, 2, kBlock)
                         : r.result == kCopy ? input
                                             : Pcm{};
    CHECK(directory.read("process.pcm") == bytes(expected.data(), expected.size() * 2));
  }
}
