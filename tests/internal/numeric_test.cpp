#include "common/numeric.h"

#include "common/sine.h"
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

// Every one of these floats: scripts/check-sine.
TEST_CASE("the logarithm never falls, so that every entry of a gain table begins at one level") {
  for (uint32_t bits = common::bits_of(1.0f); bits < common::bits_of(FLT_MAX); bits += 61) {
    const float x = common::float_of(bits), next = common::float_of(bits + 1);
    if (!(common::log10_portable(x) <= common::log10_portable(next))) FAIL_CHECK(x);
  }
}

TEST_CASE("sine and cosine are within 0.57 ulp of the true ones over a turn, with glibc's bits") {
  const auto look = [](const char* name, float x, float got, double expected, float libc) {
    const double ulp = std::ldexp(1.0, std::ilogb(static_cast<float>(expected)) - 23);
    CAPTURE(name);
    CAPTURE(x);
    REQUIRE(std::fabs(static_cast<double>(got) - expected) <= 0.57 * ulp);  // 0.5 of it is the rounding
#ifdef __GLIBC__
    REQUIRE(support::same_bits(got, libc));
#endif
    (void)libc;
  };
  for (int i = -2000; i <= 2000; ++i)
    for (const float x :
         {static_cast<float>(i) * 0.00314159f, std::ldexp(static_cast<float>(i), i % 40 - 40)}) {
      if (x == 0.0f) continue;
      const auto exact = static_cast<double>(x);
      look("sine", x, common::sine(x), std::sin(exact), sinf(x));
      look("cosine", x, common::cosine(x), std::cos(exact), cosf(x));
    }
  CHECK(support::same_bits(common::sine(-0.0f), -0.0f));
  CHECK(common::cosine(0.0f) == 1.0f);
  CHECK(std::isnan(common::sine(NAN)));
  CHECK(std::isnan(common::cosine(INFINITY)));
}
