// Makes EQ10's bands of the filters of a parametric-EQ text: bandwidths and shelves as the designer wants them, within
// its bounds.
#include <algorithm>
#include <cmath>

#include "host/design.h"
#include "host/eq_text_filters.h"
#include "host/fields.h"

namespace host {
namespace {

using namespace eq;

constexpr int kBands = AUDIOPOST_EQ10_BANDS;
constexpr double kLn2 = 0.6931471805599453;

// ---- Shelves: Q and slope --------------------------------------------------------------------------
// R. Bristow-Johnson, "Cookbook formulae for audio EQ biquad filter coefficients": both stand for the same alpha when
// 1/Q^2 = (A + 1/A) (1/S - 1) + 2.
double gain_sum(double gain_dB) {
  const double a = std::pow(10.0, gain_dB / 40.0);
  return a + 1.0 / a;
}
double slope_from_q(double q, double gain_dB) {
  return 1.0 / (1.0 + (1.0 / (q * q) - 2.0) / gain_sum(gain_dB));
}

// Half of the gain at 12 S dB per octave, that is 40 S dB per decade, lies between a shelf's corner and its middle.
double middle_over_corner(double slope, double gain_dB) {
  return std::pow(10.0, std::fabs(gain_dB) / (80.0 * slope));
}

// Bandwidth between the half-gain points, in octaves, to Q; with the warping of the bilinear transform.
double q_from_octaves(double octaves, double fc, double sample_rate) {
  const double w0 = 2.0 * kPi * fc / sample_rate;
  return 1.0 / (2.0 * std::sinh(kLn2 / 2.0 * octaves * w0 / std::sin(w0)));
}

// ---- Filters to bands ------------------------------------------------------------------------------
using Band = std::array<float, 5>;  // as in the record: enable, type, fc, Q, boost

Band band_of(FilterType type, double fc, double q, double gain_dB) {
  return {1.0f, static_cast<float>(type), static_cast<float>(fc), static_cast<float>(q),
          static_cast<float>(gain_dB)};
}

class BandMaker {
 public:
  BandMaker(const std::string& file, double sample_rate, std::vector<std::string>& notes)
      : file_(file), sample_rate_(sample_rate), notes_(notes) {}

  // Nothing for a filter that EQ10 has no place for; says so.
  std::optional<Band> make(const Filter& f) {
    line_ = f.line;
    if (f.type == "NONE") return {};
    if (!f.on) return left_out("is off");
    if (!f.known) return left_out("EQ10 has no filter of type " + f.written);
    if (!f.fc) fail("Fc", "is missing");
    if (*f.fc <= 0.0) fail("Fc", "is not above 0 Hz");
    if (*f.fc >= sample_rate_ / 2.0)
      return left_out("Fc is not below half the sample rate, " +
                      shortest(static_cast<float>(sample_rate_ / 2.0), true) + " Hz");
    if (*f.fc < 10.0) note("Fc " + shortest(static_cast<float>(*f.fc), true) + " Hz is below 10 Hz");
    if (f.q && *f.q <= 0.0) fail("Q", "is not above 0");
    if (f.octaves && *f.octaves <= 0.0) fail("BW", "is not above 0 octaves");
    if (f.slope_dB && *f.slope_dB <= 0.0) fail("slope", "is not above 0 dB per octave");
    const char kind = f.type[0];
    if (kind == 'P' || kind == 'M') return bell(f);
    if (f.type[1] == 'S') return shelf(f);
    const double q = f.q         ? *f.q
                     : f.octaves ? q_from_octaves(*f.octaves, *f.fc, sample_rate_)
                                 : std::sqrt(0.5);
    return band_of(kind == 'L' ? GeneralLP : GeneralHP, *f.fc, clamped("Q", q, kLeastQ, kMostQ), 0.0);
  }

  std::optional<Band> left_out(const std::string& why) {
    note("left out: " + why);
    return {};
  }

 private:
  Band bell(const Filter& f) {
    if (!f.q && !f.octaves) fail("Q", "is missing");
    const double wanted = f.q ? *f.q : q_from_octaves(*f.octaves, *f.fc, sample_rate_);
    const double q = clamped("Q", wanted, kLeastQ, kMostQ);
    return band_of(Parametric, *f.fc, q, gain(f));
  }

  std::optional<Band> shelf(const Filter& f) {
    constexpr double kUsualSlope = 0.9;  // what the programs that write plain LS and HS lines mean by them
    const double gain_dB = gain(f);
    const double q = f.q ? *f.q : f.octaves ? q_from_octaves(*f.octaves, *f.fc, sample_rate_) : 0.0;
    const double wanted = f.slope_dB ? *f.slope_dB / 12.0 : q > 0.0 ? slope_from_q(q, gain_dB) : kUsualSlope;
    const double slope = clamped("slope", wanted, kLeastQ, kMostSlope);
    const bool low = f.type[0] == 'L', corner = f.type.size() == 2;
    const double shift = corner ? middle_over_corner(slope, gain_dB) : 1.0;
    const double fc = low ? *f.fc * shift : *f.fc / shift;
    if (fc >= sample_rate_ / 2.0)
      return left_out("the middle of its slope is not below half the sample rate");
    return band_of(low ? LowShelf : HighShelf, fc, slope, gain_dB);
  }

  double gain(const Filter& f) {
    if (!f.gain_dB) fail("Gain", "is missing");
    return clamped("Gain", *f.gain_dB, -kMostGain_dB, kMostGain_dB);
  }

  double clamped(const char* what, double value, double least, double most) {
    const double bounded = std::min(std::max(value, least), most);
    if (bounded != value)
      note(std::string(what) + " " + shortest(static_cast<float>(value), true) + " is clamped to " +
           shortest(static_cast<float>(bounded), true));
    return bounded;
  }

  void note(const std::string& text) { notes_.push_back(remark(file_, line_, text)); }

  [[noreturn]] void fail(const char* field, const char* text) const {
    throw FileError(file_, line_, field, text);
  }

  const std::string& file_;
  const double sample_rate_;
  std::vector<std::string>& notes_;
  int line_ = 0;
};

// Of each channel that is wanted.
std::array<std::vector<Band>, 2> bands_of(const std::vector<Filter>& filters, unsigned wanted,
                                          BandMaker& maker) {
  std::array<std::vector<Band>, 2> bands;
  for (const Filter& filter : filters) {
    const unsigned channels = filter.channels & wanted;
    const std::optional<Band> band = channels ? maker.make(filter) : std::nullopt;
    if (!band) continue;
    bool room = true;
    for (unsigned ch = 0; ch < 2; ++ch) {
      if (!(channels >> ch & 1)) continue;
      if (bands[ch].size() < kBands)
        bands[ch].push_back(*band);
      else
        room = false;
    }
    if (!room) maker.left_out("EQ10 has ten bands");
  }
  return bands;
}

// Gives channel 1 what it heard so far by way of channel 0's records.
void unlink_channels(Record& record) {
  for (const Table& table : tables())
    if (table.channel == 1) copy_from_channel0(record, table);
  record[AUDIOPOST_CHANNEL_LINK] = 0.0f;
}

void write_bands(Record& record, int channel, const std::vector<Band>& bands) {
  const int start = settings_start(record, AUDIOPOST_EFFECT_EQ10, channel);
  constexpr Band kUnused = {0.0f, Parametric, 1000.0f, 1.0f, 0.0f};
  for (int b = 0; b < kBands; ++b) {
    const Band& band = static_cast<size_t>(b) < bands.size() ? bands[static_cast<size_t>(b)] : kUnused;
    std::copy(band.begin(), band.end(), record.begin() + start + AUDIOPOST_EQ10_BAND_STRIDE * b);
  }
}

}  // namespace

double eq::q_from_slope(double slope, double gain_dB) {
  return 1.0 / std::sqrt(gain_sum(gain_dB) * (1.0 / slope - 1.0) + 2.0);
}

std::vector<std::string> import_eq(Record& record, std::string_view text, const std::string& file,
                                   int channel) {
  std::vector<std::string> notes;
  const unsigned wanted = channel < 0 ? kBoth : 1u << channel;
  const Text parsed = read(text, file, notes);
  if (!(parsed.channels & wanted))
    throw FileError(file, 0, "",
                    std::string("holds no line that begins with Filter") +
                        (parsed.empty ? "" : " for the channels to set"));
  if (parsed.filters.empty()) notes.push_back(remark(file, 0, "holds no filters; all bands are off"));
  BandMaker maker(file, field_as_int(record, AUDIOPOST_SAMPLE_RATE), notes);
  const std::array<std::vector<Band>, 2> bands = bands_of(parsed.filters, wanted, maker);
  const bool alike = bands[0] == bands[1] && parsed.preamp_dB[0] == parsed.preamp_dB[1];
  if (field_as_int(record, AUDIOPOST_CHANNEL_LINK) != 0 && (channel >= 0 || !alike)) {
    unlink_channels(record);
    notes.push_back(remark(file, 0, "the channels were linked; each has its own settings from here on"));
  }
  const bool linked = field_as_int(record, AUDIOPOST_CHANNEL_LINK) != 0;
  for (int ch = 0; ch < (linked ? 1 : 2); ++ch) {
    const auto source = static_cast<size_t>(ch);
    if (!(wanted >> ch & 1)) continue;
    write_bands(record, ch, bands[source]);
    record[static_cast<size_t>(settings_start(record, AUDIOPOST_EFFECT_CHAIN, ch))] =
        static_cast<float>(parsed.preamp_dB[source]);
  }
  record[AUDIOPOST_EQ10_ENABLE] = 1.0f;
  return notes;
}

}  // namespace host
