#include "common/numeric.h"

#include "support.h"

TEST_CASE("the logarithm of levels is within two ulp of the true one and has the same bits everywhere") {
  for (float x = 0x1p-60f; x < 0x1p33f; x = x * 1.0001f + 0x1p-22f) {
    const double expected = std::log10(static_cast<double>(x));
    const double ulp = std::ldexp(1.0, std::max(-149, std::ilogb(static_cast<float>(expected)) - 23));
    CAPTURE(x);
    REQUIRE(std::fabs(static_cast<double>(common::log10_portable(x)) - expected) <= 2.1 * ulp);
  }
  struct {
    float x, expected;
  } exact[] = {
      {1.0f, 0.0f},
      {16406.54296875f, 0x1.0dc2d8p+2f},  // mathematics libraries disagree at these two
      {269447872.0f, 0x1.0dc674p+3f},
      {INFINITY, INFINITY},
  };
  for (const auto& row : exact) CHECK(common::log10_portable(row.x) == row.expected);
  CHECK(std::isnan(common::log10_portable(NAN)));
}
