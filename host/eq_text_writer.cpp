// Writes EQ10 as parametric-EQ text.
#include <algorithm>
#include <cmath>

#include "host/design.h"
#include "host/eq_text_filters.h"
#include "host/fields.h"

namespace host {
namespace {

using namespace eq;

std::string text_of(double value) { return shortest(static_cast<float>(value), true); }

// As the designer clamps them; what is not a number becomes the upper end there.
double bounded(double value, double least, double most) {
  return !(value <= most) ? most : std::max(value, least);
}

// What follows "ON" on the line of a band; adds to the preamp what the line has no place for. Empty, and `why`, where the
// format has no words for the band.
std::string filter_text(const EqBand& band, double& preamp_dB, std::string& why) {
  const int type = band.type;
  const bool shelf = type == LowShelf || type == HighShelf;
  const double q = bounded(band.q, kLeastQ, shelf ? kMostSlope : kMostQ);
  const double gain_dB = bounded(band.boost_dB, -kMostGain_dB, kMostGain_dB);
  const std::string fc = " Fc " + text_of(band.fc_hz) + " Hz", gain = " Gain " + text_of(gain_dB) + " dB";
  if (!std::isfinite(band.fc_hz)) {
    why = "fc is not a number";
  } else if (type == Parametric) {
    return "PK" + fc + gain + " Q " + text_of(q);
  } else if (shelf) {
    return (type == LowShelf ? "LSC" : "HSC") + fc + gain + " Q " + text_of(q_from_slope(q, gain_dB));
  } else if (type == GeneralLP || type == GeneralHP) {
    preamp_dB += gain_dB;  // these filters have no gain in the text
    return (type == GeneralLP ? "LPQ" : "HPQ") + fc + " Q " + text_of(q);
  } else if ((type == ButterworthLP || type == ButterworthHP) && gain_dB == 0.0) {
    return (type == ButterworthLP ? "LPQ" : "HPQ") + fc + " Q " + text_of(1.0 / 1.4142);
  } else {
    why = !filter_name(type) ? "has an unknown type"
          : type == BandPass ? "is a BandPass"
                             : "is a Butterworth filter with boost";
  }
  return "";
}

}  // namespace

std::string export_eq(const Record& record, int channel, std::vector<std::string>& left_out) {
  const auto leave_out = [&](const char* effect, const std::string& what) {
    left_out.push_back(effect + (" channel " + std::to_string(channel)) + what);
  };
  double preamp_dB = record[static_cast<size_t>(settings_start(record, AUDIOPOST_EFFECT_CHAIN, channel))];
  if (!std::isfinite(preamp_dB)) {
    leave_out("chain", ": gain_dB is not a number");
    preamp_dB = 0.0;
  }
  std::string lines;
  int count = 0;
  for (const EqBand& band : eq_bands(record, channel)) {
    if (!band.on || !runs(record, AUDIOPOST_EFFECT_EQ10)) continue;
    std::string why;
    const std::string filter = filter_text(band, preamp_dB, why);
    if (filter.empty())
      leave_out("EQ10", " band " + std::to_string(band.number) + ": " + why);
    else
      lines += "Filter " + std::to_string(++count) + ": ON " + filter + "\n";
  }
  return "Preamp: " + text_of(preamp_dB) + " dB\n" + lines;
}

}  // namespace host
