// A parametric-EQ text as the filters that it names: what its reader hands to the maker of bands, and what that and the
// writer both know of EQ10. The way in is host/eq_text.h.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/eq_text.h"

namespace host::eq {

// ---- The text --------------------------------------------------------------------------------------
constexpr unsigned kBoth = 3;  // channels as bits: 1 the left one, 2 the right one

struct Filter {
  int line = 0;
  unsigned channels = kBoth;
  bool on = true;
  bool known = false;         // a type that EQ10 has a place for
  std::string type, written;  // the type in capitals, and as it stands in the text
  std::optional<double> slope_dB, fc, gain_dB, q, octaves;
};

struct Text {
  std::array<double, 2> preamp_dB{};
  std::vector<Filter> filters;
  unsigned channels = 0;  // that any line is for
  bool empty = true;      // no line of either kind
};

// Appends to `notes` what it leaves out. Throws FileError for lines that are not understood.
Text read(std::string_view text, const std::string& file, std::vector<std::string>& notes);

// What is said of a line, or of the whole file where that is 0, in the form of an error.
std::string remark(const std::string& file, int line, const std::string& text);

// ---- EQ10 ------------------------------------------------------------------------------------------
// The designer's bounds.
constexpr double kLeastQ = 0.01, kMostQ = 16.0, kMostSlope = 2.0, kMostGain_dB = 20.0;

// The Q of a shelf with this slope, within those bounds.
double q_from_slope(double slope, double gain_dB);

}  // namespace host::eq
