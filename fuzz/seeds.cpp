// seeds FOLDER: writes FOLDER/kernels/ and FOLDER/calls/, what the fuzzers of these names start from.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "full_record.h"

namespace {

std::string bytes(const void* data, size_t size) { return {static_cast<const char*>(data), size}; }

void write(const std::filesystem::path& path, const std::string& content) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 1;
  const std::filesystem::path folder = argv[1];
  const auto pcm = support::noise_pcm(512);
  const std::string audio = bytes(pcm.data(), 2 * pcm.size());

  // Choices, block length, two records, PCM: all effects, then all but one, at every rate and channel count.
  for (int bit_rate : {16, 24, 32})
    for (int channels : {1, 2})
      for (size_t off = 9; off < 18; ++off) {
        const auto first = support::full_record(channels, bit_rate, off % 2 ? 48000 : 8000);
        auto second = first;
        if (off > 9) second[off] = 0;
        const std::string name =
            std::to_string(bit_rate) + "_" + std::to_string(channels) + "_" + std::to_string(off);
        write(folder / "kernels" / name,
              std::string("\0\x40", 2) + bytes(first.data(), 2000) + bytes(second.data(), 2000) + audio);
      }
  // A program of calls can be any bytes.
  for (uint32_t seed = 1; seed <= 16; ++seed) {
    const auto program = support::noise_pcm(1000, seed);
    write(folder / "calls" / std::to_string(seed), bytes(program.data(), 2 * program.size()));
  }
  return 0;
}
