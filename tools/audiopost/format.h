// printf into a string.
#pragma once

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace audiopost {

// At most 511 characters: a line.
[[gnu::format(printf, 1, 2)]] inline std::string format(const char* pattern, ...) {
  char text[512];
  va_list values;
  va_start(values, pattern);
  std::vsnprintf(text, sizeof text, pattern, values);
  va_end(values);
  return text;
}

// With its sign, but for a zero; "-" for what is not finite.
inline std::string signed_number(double x, int digits = 1) {
  if (!std::isfinite(x)) return "-";
  const bool zero = std::abs(x) < 0.5 * std::pow(10.0, -digits);
  return zero ? format("%.*f", digits, 0.0) : format("%+.*f", digits, x);
}

}  // namespace audiopost
