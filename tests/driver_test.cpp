// The library's `main`, in a directory of its own: it is called where a loader finds it, in a child process.
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "support.h"

using namespace support;

namespace {

using Bytes = std::vector<char>;
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
    std::ofstream(file(name), std::ios::binary)
        .write(reinterpret_cast<const char*>(items.data()), static_cast<std::streamsize>(bytes));
  }
  Pcm output() const {
    std::ifstream stream(file("process.pcm"), std::ios::binary);
    const Bytes bytes{std::istreambuf_iterator<char>(stream), {}};
    Pcm pcm(bytes.size() / 2);
    if (!pcm.empty()) std::memcpy(pcm.data(), bytes.data(), pcm.size() * 2);
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

Record halving_record() {
  Record record = plain_record();
  record[20] = record[25] = -6.0f;
  return record;
}

int count(const std::string& text, const std::string& part) {
  int n = 0;
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) ++n;
  return n;
}

}  // namespace

TEST_CASE("the driver sends the whole blocks of its input through the chain") {
  for (int frames : {0, 1023, 1024, 2047, 3 * kBlock + 100}) {
    CAPTURE(frames);
    const Directory directory;
    const Pcm input = noise_pcm(frames * 2);
    const Record record = halving_record();
    directory.write("raw.pcm", input, input.size() * 2);
    directory.write("0522_48000HZ.bin", record, 2000);
    const auto child = directory.run();
    CHECK(child.status == 0);
    double seconds = -1;
    char names[3][20] = {"", "", ""};
    CHECK(std::sscanf(child.out.c_str(), "Finished, speech_time = 0.000000, cost_time = %lf\n%19s %19s %19s",
                      &seconds, names[0], names[1], names[2]) == 4);
    CHECK(seconds >= 0.0);
    CHECK((names[0] + std::string(" ") + names[1] + " " + names[2]) ==
          "raw.pcm process.pcm 0522_48000HZ.bin");
    AudioPostState* chain = AudioPost_Init(record.data(), kBlock);
    CHECK(directory.output() == through_chain(chain, input, 2, kBlock));
    AudioPost_Destroy(chain);
  }
}

TEST_CASE("the driver says what is wrong with its files and carries on where it can") {
  enum { kChain, kCopy, kNothing };
  const struct {
    const char* fault;
    int status;
    const char *out, *err;
    int err_count, result;
  } rows[] = {
      {"none", 0, "Finished", "", 0, kChain},
      {"no tuning", 255, "error\n", "", 0, kNothing},
      {"short tuning", 255, "error\n", "", 0, kNothing},
      {"long tuning", 0, "Finished", "", 0, kChain},
      {"wrong version", 0, "Finished", "you should use version 2.00!", 1, kCopy},
      {"wrong rate", 0, "Finished", "Sample rate is wrong \n", 1, kChain},
      {"rate truncated", 0, "Finished", "Sample rate is wrong \n", 0, kChain},
      {"no input", 0, "Finished", "open file fail", 1, kNothing},
      {"output cannot be opened", 0, "Finished", "file write error\n", 2, kNothing},
      {"output is full", 0, "Finished", "file write error\n", 1,
       kNothing},  // its first block is only buffered
  };
  for (const auto& r : rows) {
    const std::string fault = r.fault;
    CAPTURE(fault);
    const Directory directory;
    const Pcm input = noise_pcm(2 * kBlock * 2);
    Record record = halving_record();
    if (fault == "wrong version") record[4] = 1.0f;
    if (fault == "wrong rate") record[0] = 44100.0f;
    if (fault == "rate truncated") record[0] = 48000.9f;
    std::vector<float> tuning(record.begin(), record.end());
    tuning.resize(501);
    if (fault != "no input") directory.write("raw.pcm", input, input.size() * 2);
    if (fault != "no tuning")
      directory.write("0522_48000HZ.bin", tuning,
                      fault == "short tuning"  ? 1999
                      : fault == "long tuning" ? 2004
                                               : 2000);
    if (fault == "output cannot be opened") mkdir(directory.file("process.pcm").c_str(), 0700);
    if (fault == "output is full") REQUIRE(symlink("/dev/full", directory.file("process.pcm").c_str()) == 0);

    const auto child = directory.run();
    CHECK(child.status == r.status);
    CHECK(child.out.rfind(r.out, 0) == 0);
    if (*r.err) CHECK(count(child.err, r.err) == r.err_count);
    CHECK(count(child.err, "open file fail") == (fault == "no input" || fault == "output cannot be opened"));
    if (fault == "output is full" || fault == "output cannot be opened") continue;
    AudioPostState* chain = AudioPost_Init(halving_record().data(), kBlock);
    CHECK(directory.output() == (r.result == kChain  ? through_chain(chain, input, 2, kBlock)
                                 : r.result == kCopy ? input
                                                     : Pcm{}));
    AudioPost_Destroy(chain);
  }
}
