// Gain ramps beside the powers of two, where a float's spacing changes.
#include "dynamics/gain_ramp.h"

#include "internal/run_job.h"

TEST_CASE("a ramp that reaches a power of two has the bits of one that was added up") {
  for_each_row([](const lanes::Target& kernels) {
    for (float power : {0.5f, 1.0f, 4.0f})
      for (int above : {-7, -3, 0, 3, 7, 40})  // where it starts, in the spacing above the power
        for (float step : {-1.3f, -1.5f, -0.5f, -0.3f, 0.5f, 1.3f})  // per sample, in the same
          for (int n : {3, 6, 12, 24, 63, 480}) {
            const float unit = power * 0x1p-23f;
            float gain = power + float(above) * unit;
            std::vector<float> expected(static_cast<size_t>(n)), got(expected);
            const float end = kernels.ramp(gain, step * unit, got.data(), n);
            for (float& g : expected) g = gain += step * unit;
            CAPTURES(power, above, step, n);
            REQUIRE(support::same_bits(expected, got));
            REQUIRE(support::same_bits(end, gain));
          }
  });
}

TEST_CASE("the first overload is the first sample beyond the bound, wherever it stands in a long block") {
  const float beyond = std::nextafterf(32768, 1e9f);
  for (int n : {480, 1024, 2500})
    for (int at : {0, 1, 63, 64, 479, 1023, 1024, 1100, 2499}) {
      if (at >= n) continue;
      CAPTURES(n, at);
      support::Samples x(static_cast<size_t>(n), -32768.0f);  // right at it
      CHECK(dynamics::first_overload(1, 0, 32768, x.data(), n) == n);
      x[static_cast<size_t>(at)] = -beyond, x.back() = beyond;
      CHECK(dynamics::first_overload(1, 0, 32768, x.data(), n) == at);
    }
}
