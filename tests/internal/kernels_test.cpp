// Every row of the kernel table returns the bits of the scalar row.
#include "filters/kernels/kernels.h"

#include "common/flush_denormals.h"
#include "support.h"

using filters::Kernels;
using support::noise;
using support::same_bits;
using support::Samples;

namespace {

// Around the vector widths and the lengths of the waves, real blocks, and one that is cut.
const int kLengths[] = {1, 2, 3, 7, 11, 13, 63, 64, 480, 1024, 1500};

// Calls check(row) for each row but the scalar one that this machine runs.
template <class Check>
void for_each_row(Check check) {
  for (int row = 1; row < filters::kKernelCount; ++row) {
    const Kernels& kernels = filters::kKernelTable[row];
    if (!kernels.runs_here()) continue;
    const std::string name = kernels.name;
    CAPTURE(name);
    const common::FlushDenormals flush;
    check(kernels);
  }
}

const Kernels& scalar() { return filters::kKernelTable[0]; }

std::vector<BiquadCoeffs> sections(int count, float fc) {
  std::vector<BiquadCoeffs> coeffs(static_cast<size_t>(count));
  for (int k = 0; k < count; ++k)
    filter_calculateCoeffs(&coeffs[static_cast<size_t>(k)].b0, k % 6, 48000.0f,
                           fc * static_cast<float>(1 + k), 1.5f, k % 2 ? 6.0f : -4.5f);
  return coeffs;
}

}  // namespace

TEST_CASE("every kernel row cascades sections to the bits of the scalar row, histories included") {
  struct {
    int sections[3];
  } const rows[] = {{{10, 10, 10}}, {{1, 1, 0}}, {{3, 7, 7}},    {{4, 5, 5}},
                    {{25, 25, 2}},  {{0, 0, 9}}, {{12, 12, 12}}, {{6, 6, 6}}};
  for_each_row([&](const Kernels& kernels) {
    for (const auto& r : rows)
      for (int channels = 1; channels <= 3; ++channels)
        for (int n : kLengths) {
          CAPTURE(r.sections[0]);
          CAPTURE(channels);
          CAPTURE(n);
          std::vector<BiquadCoeffs> coeffs[3];
          std::vector<BiquadHistory> history[2][3];
          std::vector<Samples> x[2];
          for (int ch = 0; ch < 3; ++ch) {
            coeffs[ch] = sections(r.sections[ch], 70.0f + 30.0f * static_cast<float>(ch));
            for (auto& h : history) h[ch].resize(coeffs[ch].size());
            // The spare sample shows an overrun. The infinity in the last frame must stay in its channel's histories.
            Samples s = noise(n + 1, 32767.0f, static_cast<uint32_t>(ch + n));
            if (n == 63 && ch == 1) s[62] = INFINITY;
            for (auto& side : x) side.push_back(s);
          }
          for (int block = 0; block < 3; ++block)  // histories have to carry over
            for (int side = 0; side < 2; ++side) {
              filters::CascadeChannel job[3];
              for (size_t ch = 0; ch < 3; ++ch)
                job[ch] = {coeffs[ch].data(), history[side][ch].data(), r.sections[ch], x[side][ch].data()};
              (side ? kernels : scalar()).cascade(job, channels, n);
            }
          for (size_t ch = 0; ch < 3; ++ch) {
            REQUIRE(same_bits(x[0][ch], x[1][ch]));
            REQUIRE(same_bits(history[0][ch], history[1][ch]));
          }
        }
  });
}
