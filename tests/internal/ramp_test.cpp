// Gain ramps beside the powers of two, where a float's spacing changes.
#include "common/flush_denormals.h"
#include "lanes/target.h"
#include "support.h"

TEST_CASE("a ramp that reaches a power of two has the bits of one that was added up") {
  const common::FlushDenormals flush;
  for (int row = 0; row < lanes::kTargetCount; ++row) {
    const lanes::Target& kernels = *lanes::kTargets[row];
    if (!kernels.runs_here()) continue;
    for (float power : {0.5f, 1.0f, 4.0f})
      for (int above : {-7, -3, 0, 3, 7, 40})  // where it starts, in the spacing above the power
        for (float step : {-1.3f, -1.5f, -0.5f, -0.3f, 0.5f, 1.3f})  // per sample, in the same
          for (int n : {3, 6, 12, 24, 63, 480}) {
            const float unit = power * 0x1p-23f;
            float gain = power + float(above) * unit;
            std::vector<float> expected(static_cast<size_t>(n)), got(expected);
            const float end = kernels.ramp(gain, step * unit, got.data(), n);
            for (float& g : expected) g = gain += step * unit;
            CAPTURES(row, power, above, step, n);
            REQUIRE(support::same_bits(expected, got));
            REQUIRE(support::same_bits(end, gain));
          }
  }
}
