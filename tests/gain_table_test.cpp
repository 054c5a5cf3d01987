#include <climits>

#include "support.h"

namespace {
constexpr float kNaN = NAN, kInf = INFINITY;

// Corners -45, -40, -20 dB; +16 dB in the middle; full scale comes out at -1 dB.
float compressor(float x) { return table_caculate(4, x, -45.0f, -40.0f, -20.0f, 16.0f, -1.0f); }
float limiter(float x) { return max_table_caculate(12, x, -3.0f); }
}  // namespace

TEST_CASE("the compressor curve has its corners, its slopes and no gaps") {
  const struct {
    float x, y, slope;
  } rows[] = {
      {-60, -108.0f, 4.2f},  // (16 dB + 5 dB) / 5 dB
      {-45, -45, 4.2f},       {-43, -36.6f, 4.2f},
      {-40, -25.6f, 2.6f},  // mid-knee: the corner less 3.2 * 2^2 / 8, and the mean of both slopes
      {-37, -21, 1},          {-30, -14, 1},
      {-20, -4.425f, 0.575f},  // (1 - 0.15) * 2^2 / 8 below the corner
      {-17, -3.55f, 0.15f},    // 3 dB over 20 dB
      {0, -1, 0.15f},         {10, 0.5f, 0.15f},
  };
  for (const auto& r : rows) {
    CAPTURE(r.x);
    CHECK(compressor(r.x) == doctest::Approx(r.y).epsilon(1e-5));
    CHECK((compressor(r.x + 0.25f) - compressor(r.x - 0.25f)) * 2 == doctest::Approx(r.slope).epsilon(1e-3));
  }
  for (float edge : {-42.0f, -38.0f, -22.0f, -18.0f}) {
    CAPTURE(edge);
    CHECK(std::fabs(compressor(std::nextafterf(edge, 0)) - compressor(edge)) < 1e-4f);
  }
}

TEST_CASE("the limiter curve is unity below its knee, flat above it, and smooth and monotone in between") {
  for (float x : {-96.0f, -20.0f, -9.0f}) CHECK(limiter(x) == x);
  for (float x : {3.0f, 3.5f, 10.0f, 200.0f}) CHECK(limiter(x) == -3.0f);
  CHECK(limiter(-3.0f) == -4.5f);
  float last_slope = 1;
  for (int i = 0; i < 96; ++i) {  // the slope falls evenly from 1 to 0
    const float x = -9 + 0.125f * static_cast<float>(i);
    const float slope = (limiter(x + 0.125f) - limiter(x)) * 8;
    CHECK(slope <= last_slope + 1e-4f);
    CHECK(slope == doctest::Approx(1 - (x + 0.0625f + 9) / 12).epsilon(1e-3));
    last_slope = slope;
  }
}

TEST_CASE("a knee below 1 gives 0, an odd one rounds down, and the widest does not overflow") {
  for (int knee : {0, -1, INT_MIN})
    for (float x : {-50.0f, 0.0f, kNaN}) {
      CHECK(table_caculate(knee, x, -45, -40, -20, 16, -1) == 0.0f);
      CHECK(max_table_caculate(knee, x, -3) == 0.0f);
    }
  CHECK(max_table_caculate(1, -3.0f, -3.0f) == -3.0f);  // half of 1 dB is 0: a sharp corner
  CHECK(max_table_caculate(13, -9.0f, -3.0f) == -9.0f);
  CHECK(max_table_caculate(13, -3.0f, -3.0f) == doctest::Approx(-3 - 36.0 / 26));
  CHECK(max_table_caculate(INT_MAX, -1.0f, -3.0f) != -1.0f);
}

TEST_CASE("a look-up returns the nearest entry and never leaves the table") {
  const float table[7] = {0, 1, 2, 3, 4, 5, 6};  // entries 1 … 5 between two that must not be read
  const struct {
    float x, start, scale, entry;
  } rows[] = {
      {-10.0f, -10, 2, 1},   {-10.5f, -10, 2, 1},    {-1e30f, -10, 2, 1},       {-9.76f, -10, 2, 1},
      {-9.75f, -10, 2, 2},   {-9.25f, -10, 2, 3},  // exact half steps go up
      {-9.26f, -10, 2, 2},   {-8.0f, -10, 2, 5},     {-7.0f, -10, 2, 5},        {1e30f, -10, 2, 5},
      {kInf, -10, 2, 5},     {kNaN, -10, 2, 1},      {0x1.fffffep-2f, 0, 1, 1},  // the float below a half
      {0, kNaN, 2, 1},       {0, -10, kNaN, 1},      {-10.0f, -10, kInf, 1},     // 0 * inf
      {-9.0f, -10, kInf, 5}, {-9.0f, -10, -kInf, 1}, {-9.0f, -10, -2, 1},        // a table that runs downward
  };
  for (const auto& r : rows) {
    CAPTURES(r.x, r.start, r.scale);
    CHECK(table_search(4, table + 1, r.x, r.start, r.scale) == r.entry);
  }
}
