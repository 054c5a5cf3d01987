// Numbers as text, without allocating and in no locale.
#pragma once

#include <charconv>
#include <cmath>
#include <cstring>

namespace check {

constexpr int kNumberLength = 40;  // room for any number, and the 0 at its end

// The shortest decimal that is nearest to the number, float or double: "0.1", "48000", "-0.0", "inf"; with a point or an
// exponent unless `whole`. NaNs give "nan" and lose their payload. Returns `text`.
template <class Number>
const char* shortest(Number value, bool whole, char (&text)[kNumberLength]) {
  if (!std::isfinite(value)) return std::strcpy(text, std::isnan(value) ? "nan" : value > 0 ? "inf" : "-inf");
  char* const end = std::to_chars(text, text + sizeof text - sizeof ".0", value).ptr;
  *end = 0;
  const bool negative_zero = value == 0 && std::signbit(value);
  if (!std::strpbrk(text, ".e") && (!whole || negative_zero)) std::strcpy(end, ".0");
  return text;
}

}  // namespace check
