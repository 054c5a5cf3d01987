// instructions ROW EFFECT BLOCKS [FRAMES]: plays that many blocks of 480 or FRAMES frames through one effect, all for -1
// or none for 8, with one row of the kernel table. What it executes is counted from outside; two runs' difference is the
// cost of their blocks.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/signal.h"
#include "lanes/target.h"

int main(int argc, char** argv) {
  if (argc < 4) return EXIT_FAILURE;
  const int row = std::atoi(argv[1]), effect = std::atoi(argv[2]), blocks = std::atoi(argv[3]);
  const int kBlock = argc > 4 ? std::atoi(argv[4]) : 480;
  if (row >= lanes::kTargetCount) return EXIT_FAILURE;
  lanes::use_target(*lanes::kTargets[row]);
  bench::Record record = bench::full_record();
  for (int flag = 0; AUDIOPOST_AUTOGAIN_ENABLE + flag <= AUDIOPOST_MAXIMIZER_ENABLE; ++flag)
    record[static_cast<size_t>(AUDIOPOST_AUTOGAIN_ENABLE + flag)] = effect < 0 || flag == effect ? 1 : 0;
  const std::vector<int16_t> pcm = bench::music(kBlock * 40);
  std::vector<int16_t> out(kBlock * 2);
  AudioPostState* const chain = AudioPost_Init(record.data(), kBlock);
  if (!chain) return EXIT_FAILURE;
  for (int i = 0; i < blocks; ++i)
    AudioPost_Process(chain, &pcm[static_cast<size_t>(i % 40 * kBlock * 2)], out.data(), 2, kBlock);
  AudioPost_Destroy(chain);
  return EXIT_SUCCESS;
}
