// The library's `main`, in a directory of its own: it is called where a loader finds it, in a child process.
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>

#include "support.h"

using namespace support;

namespace {

using Pcm = std::vector<int16_t>;
constexpr int kBlock = 1024;

class Directory {
 public:
  Directory() { REQUIRE(mkdtemp(path_)); }
  ~Directory() {
    for (const char* name : {"raw.pcm", "process.pcm", "0522_48000HZ.bin"}) std::remove(file(name).c_str());
    rmdir(path_);
  }
  std::string file(const std::string& name) const { return std::string(path_) + "/" + name; }
  template <class T>
  void write(const std::string& name, const T& items, size_t bytes) const {
    const auto* data = reinterpret_cast<const char*>(items.data());
    std::ofstream(file(name), std::ios::binary).write(data, std::streamsize(bytes));
  }
  Pcm output() const {
    std::ifstream stream(file("process.pcm"), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    Pcm pcm((bytes.size() + 1) / 2);
    bytes.copy(reinterpret_cast<char*>(pcm.data()), bytes.size());
    return pcm;
  }
  // Runs the driver here; afterwards the child prints the arguments that it was to leave behind.
  Outcome run() const {
    return in_child([&] {
      using Main = int (*)(int, char**);
      const auto driver = reinterpret_cast<Main>(dlsym(dlopen(LIBRARY_FILE, RTLD_NOW), "main"));
      char name[] = "process_file";
      char* argv[4] = {name, nullptr, nullptr, nullptr};
      if (!driver || chdir(path_) != 0 || driver(1, argv) != 0) std::exit(9);
      std::printf("%s %s %s\n", argv[1], argv[2], argv[3]);
    });
  }

 private:
  char path_[40] = "/tmp/process_file_test_XXXXXX";
};

int count(const std::string& text, const std::string& part) {
  int n = 0;
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) ++n;
  return n;
}

}  // namespace

TEST_CASE("the driver sends whole blocks of its input through the chain, and says what is wrong on the way") {
  enum Result { kError, kNothing, kChain, kCopy, kUnread };  // what it leaves in the output file
  const std::regex finished(R"(Finished, speech_time = 0\.000000, cost_time = \d+\.\d+\n)"
                            R"(raw\.pcm process\.pcm 0522_48000HZ\.bin\n)");
  const char rate[] = "Sample rate is wrong \n", write[] = "file write error\n";
  const struct {
    const char* fault;
    Result result;
    const char* message = "?";
    int times = 0, frames = 2 * kBlock;
    size_t index = 20;  // of the tuning, given this value
    float value = -6;
    size_t tuning_bytes = 2000;
  } rows[] = {
      {"none", kChain},
      {"no frames", kNothing, "?", 0, 0},
      {"less than a block", kNothing, "?", 0, kBlock - 1},
      {"a partial block", kChain, "?", 0, 3 * kBlock - 1},
      {"no tuning", kError},
      {"short tuning", kError, "?", 0, kBlock, 20, -6, 1999},
      {"long tuning", kChain, "?", 0, kBlock, 20, -6, 2004},
      {"wrong version", kCopy, "you should use version 2.00!", 1, kBlock, 4, 1},
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
    if (fault != "no input") directory.write("raw.pcm", input, input.size() * 2);
    if (fault != "no tuning") directory.write("0522_48000HZ.bin", tuning, r.tuning_bytes);
    if (fault == "output cannot be opened") mkdir(directory.file("process.pcm").c_str(), 0700);
    if (fault == "output is full") REQUIRE(symlink("/dev/full", directory.file("process.pcm").c_str()) == 0);

    const auto child = directory.run();
    CHECK(child.status == (r.result == kError ? 255 : 0));
    CHECK((r.result == kError ? child.out == "error\n" : std::regex_match(child.out, finished)));
    CHECK(count(child.err, r.message) == r.times);
    CHECK(count(child.err, "open file fail") == (fault == "no input" || fault == "output cannot be opened"));
    if (r.result == kUnread) continue;
    const Chain chain = chain_of(halving.data(), kBlock);
    CHECK(directory.output() == (r.result == kChain  ? through_chain(chain.get(), input, 2, kBlock)
                                 : r.result == kCopy ? input
                                                     : Pcm{}));
  }
}
