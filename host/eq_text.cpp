#include "host/eq_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>

#include "host/fields.h"

namespace host {
namespace {

constexpr int kBands = AUDIOPOST_EQ10_BANDS;
constexpr double kLn2 = 0.6931471805599453, kPi = 3.141592653589793;
constexpr double kLeastQ = 0.01, kMostQ = 16.0, kMostSlope = 2.0,
                 kMostGain_dB = 20.0;  // the designer's bounds

float* band_record(Record& record, int channel, int band) {
  return &record[static_cast<size_t>(AUDIOPOST_EQ10_SECTION + AUDIOPOST_EQ10_STRIDE * channel +
                                     AUDIOPOST_EQ10_BAND_STRIDE * band)];
}

// What is said of a line, or of the whole file where that is 0, in the form of an error.
std::string remark(const std::string& file, int line, const std::string& text) {
  return FileError(file, line, "", text).what();
}

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
// Within the designer's bounds the root is of at least 0.26.
double q_from_slope(double slope, double gain_dB) {
  return 1.0 / std::sqrt(gain_sum(gain_dB) * (1.0 / slope - 1.0) + 2.0);
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

// ---- Reading: lines to tokens ----------------------------------------------------------------------
std::string upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// Up to a comment, with every kind of blank as a space and every minus as a hyphen. No-break spaces between digits group
// thousands and go away.
std::string plain(std::string_view line) {
  std::string out;
  line = line.substr(0, line.find('#'));
  for (size_t i = 0; i < line.size(); ++i) {
    const auto byte = static_cast<unsigned char>(line[i]);
    const auto here = [&](std::string_view bytes) { return line.compare(i, bytes.size(), bytes) == 0; };
    const size_t blank = here("\u00a0") ? 2 : here("\u202f") ? 3 : 0;
    if (blank) {
      const bool groups = !out.empty() && std::isdigit(static_cast<unsigned char>(out.back())) &&
                          i + blank < line.size() &&
                          std::isdigit(static_cast<unsigned char>(line[i + blank]));
      if (!groups) out += ' ';
      i += blank - 1;
    } else if (here("\u2212")) {
      out += '-';
      i += 2;
    } else {
      out += byte < 0x20 ? ' ' : line[i];
    }
  }
  return out;
}

// A number as people write it: "1,5" and "1,234.5" and "1.234,5" too, the last mark being the decimal one.
std::optional<double> number(std::string text) {
  const size_t mark = text.find_last_of(".,");
  std::string digits;
  for (size_t i = 0; i < text.size(); ++i)
    if (i == mark)
      digits += '.';
    else if (text[i] != '.' && text[i] != ',')
      digits += text[i];
  const char* first = digits.c_str() + (*digits.c_str() == '+' ? 1 : 0);
  double value = 0;
  const auto parsed = std::from_chars(first, digits.c_str() + digits.size(), value);
  if (parsed.ec != std::errc() || parsed.ptr != digits.c_str() + digits.size() || !std::isfinite(value))
    return {};
  return value;
}

// "1,250", which as a decimal would hardly have three places.
bool groups_thousands(const std::string& text) {
  const size_t comma = text.find_last_of(".,");
  return comma != std::string::npos && text[comma] == ',' && comma <= 3 && text.size() == comma + 4 &&
         text[0] != '0';
}

constexpr unsigned kBoth = 3;  // channels as bits: 1 the left one, 2 the right one

struct Filter {
  int line = 0;
  unsigned channels = kBoth;
  bool on = true;
  std::string type, written;  // the type in capitals, and as it stands in the text
  std::optional<double> slope_dB, fc, gain_dB, q, octaves;
};

class LineReader {
 public:
  LineReader(const std::string& file, int line, const std::string& text) : file_(file), line_(line) {
    for (size_t at = 0; (at = text.find_first_not_of(' ', at)) != std::string::npos;) {
      const size_t end = std::min(text.find(' ', at), text.size());
      split(text.substr(at, end - at));
      at = end;
    }
  }

  double preamp() {
    const double value = read("Preamp", "DB");
    if (more()) fail("Preamp", "'" + peek() + "' is not understood");
    if (std::fabs(value) > 200.0) fail("Preamp", "is out of range");
    return value;
  }

  Filter filter(unsigned channels) {
    Filter f;
    f.line = line_;
    f.channels = channels;
    const std::string status = next();
    f.on = upper(status) == "ON";
    if (!f.on && upper(status) != "OFF") fail("", "'" + status + "' stands where ON or OFF should");
    f.written = next();
    if (f.written.empty()) fail("", "has no filter type");
    f.type = upper(f.written);
    if (f.type == "LSQ" || f.type == "HSQ") f.type.pop_back();
    const bool shelf = f.type == "LS" || f.type == "HS" || f.type == "LSC" || f.type == "HSC";
    if (shelf && more() && number(peek())) f.slope_dB = read("slope", "DB");
    // "LS Q": the kind that has a Q, which follows later.
    if (upper(peek()) == "Q" && !(at_ + 1 < tokens_.size() && number(tokens_[at_ + 1]))) ++at_;
    while (more()) {
      const std::string written = next(), word = upper(written);
      if (word == "FC") {
        f.fc = frequency();
      } else if (word == "GAIN") {
        f.gain_dB = read("Gain", "DB");
      } else if (word == "Q") {
        f.q = read("Q", "");
      } else if (word == "BW") {
        skip("OCT");
        f.octaves = read("BW", "OCT");
      } else if (known(f.type)) {
        if (word == "T60") break;  // what a room correction aims at; the filter is given by the rest
        fail("", "'" + written + "' is not understood");
      } else {
        break;
      }
    }
    return f;
  }

  // Those of both channels that are named; the others are appended to `unknown`.
  unsigned channels(std::string& unknown) {
    unsigned all = 0;
    while (more()) {
      const std::string written = next(), name = upper(written);
      const unsigned bits = name == "ALL"                ? kBoth
                            : name == "L" || name == "1" ? 1
                            : name == "R" || name == "2" ? 2
                                                         : 0;
      if (bits == 0) unknown += " " + written;
      all |= bits;
    }
    return all;
  }

  static bool known(const std::string& type) {
    static const char* const types[] = {"PK",  "PEQ", "MODAL", "LS", "LSC", "HS",
                                        "HSC", "LP",  "LPQ",   "HP", "HPQ"};
    return std::find(std::begin(types), std::end(types), type) != std::end(types);
  }

  [[noreturn]] void fail(const std::string& field, const std::string& text) const {
    throw FileError(file_, line_, field, text);
  }

 private:
  // A unit may cling to its number: "-6.2DB" is two tokens.
  void split(const std::string& word) {
    const size_t end = word.find_first_not_of("+-0123456789.,");
    if (!number(word) && end != std::string::npos && number(word.substr(0, end))) {
      tokens_.push_back(word.substr(0, end));
      tokens_.push_back(word.substr(end));
    } else {
      tokens_.push_back(word);
    }
  }

  bool more() const { return at_ < tokens_.size(); }
  std::string peek() const { return more() ? tokens_[at_] : ""; }
  std::string next() { return more() ? tokens_[at_++] : ""; }
  bool skip(const char* word) {
    if (upper(peek()) != word) return false;
    ++at_;
    return true;
  }

  double frequency() {
    const bool groups = groups_thousands(peek());
    const double value = read("Fc", "");
    const bool kilo = skip("KHZ") || skip("K");
    skip("HZ");
    return kilo || groups ? value * 1000.0 : value;
  }

  double read(const char* field, const char* unit) {
    if (!more()) fail(field, "has no value");
    const std::string text = next();
    const std::optional<double> value = number(text);
    if (!value) fail(field, "'" + text + "' is not a number");
    if (*unit) skip(unit);
    return *value;
  }

  const std::string& file_;
  const int line_;
  std::vector<std::string> tokens_;
  size_t at_ = 0;
};

struct Text {
  std::array<double, 2> preamp_dB{};
  std::vector<Filter> filters;
  unsigned channels = 0;  // that any line is for
  bool empty = true;      // no line of either kind
};

// Lines that begin with none of these words are headings, or commands for the program that plays.
class TextReader {
 public:
  TextReader(const std::string& file, std::vector<std::string>& notes) : file_(file), notes_(notes) {}

  Text read(std::string_view text) {
    while (!text.empty()) {
      const size_t end = std::min(text.find('\n'), text.size());
      std::string line = plain(text.substr(0, end));
      text.remove_prefix(std::min(end + 1, text.size()));
      ++line_;
      if (line.compare(0, 3, "\xef\xbb\xbf") == 0) line.erase(0, 3);  // byte-order mark
      const size_t start = line.find_first_not_of(' '), colon = line.find(':');
      if (start != std::string::npos && colon != std::string::npos)
        read_command(line.substr(start, colon - start), line.substr(colon + 1));
    }
    return std::move(result_);
  }

 private:
  void read_command(std::string written, const std::string& rest) {
    while (!written.empty() &&
           (written.back() == ' ' || std::isdigit(static_cast<unsigned char>(written.back()))))
      written.pop_back();
    const std::string command = upper(written);
    LineReader reader(file_, line_, rest);
    if (command == "PREAMP") {
      const double preamp_dB = reader.preamp();
      for (unsigned ch = 0; ch < 2; ++ch)
        if (channels_ >> ch & 1) result_.preamp_dB[ch] += preamp_dB;
      heard();
    } else if (command == "FILTER") {
      result_.filters.push_back(reader.filter(channels_));
      heard();
    } else if (command == "CHANNEL") {
      std::string unknown;
      channels_ = reader.channels(unknown);
      if (!unknown.empty()) note("left out: what is for channel" + unknown);
    } else if (command == "GRAPHICEQ" || command == "CONVOLUTION" || command == "INCLUDE" ||
               command == "DELAY" || command == "COPY") {
      note("left out: " + written);
    }
  }

  void heard() {
    result_.channels |= channels_;
    result_.empty = false;
  }

  void note(const std::string& text) { notes_.push_back(remark(file_, line_, text)); }

  const std::string& file_;
  std::vector<std::string>& notes_;
  Text result_;
  int line_ = 0;
  unsigned channels_ = kBoth;  // that the next line is for
};

// ---- Reading: filters to bands ---------------------------------------------------------------------
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
    if (!LineReader::known(f.type)) return left_out("EQ10 has no filter of type " + f.written);
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
  constexpr Band kUnused = {0.0f, Parametric, 1000.0f, 1.0f, 0.0f};
  for (int b = 0; b < kBands; ++b) {
    const Band& band = static_cast<size_t>(b) < bands.size() ? bands[static_cast<size_t>(b)] : kUnused;
    std::copy(band.begin(), band.end(), band_record(record, channel, b));
  }
}

}  // namespace

std::vector<std::string> import_eq(Record& record, std::string_view text, const std::string& file,
                                   int channel) {
  std::vector<std::string> notes;
  const unsigned wanted = channel < 0 ? kBoth : 1u << channel;
  const Text parsed = TextReader(file, notes).read(text);
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
    record[static_cast<size_t>(AUDIOPOST_GAIN_SECTION + AUDIOPOST_GAIN_STRIDE * ch)] =
        static_cast<float>(parsed.preamp_dB[source]);
  }
  record[AUDIOPOST_EQ10_ENABLE] = 1.0f;
  return notes;
}

// ---- Writing ---------------------------------------------------------------------------------------
std::string export_eq(const Record& record, int channel, std::vector<std::string>& left_out) {
  const int source = field_as_int(record, AUDIOPOST_CHANNEL_LINK) != 0 ? 0 : channel;
  const auto text = [](double value) { return shortest(static_cast<float>(value), true); };
  double preamp_dB = record[static_cast<size_t>(AUDIOPOST_GAIN_SECTION + AUDIOPOST_GAIN_STRIDE * source)];
  if (!std::isfinite(preamp_dB)) {
    left_out.push_back("chain channel " + std::to_string(channel) + ": gain_dB is not a number");
    preamp_dB = 0.0;
  }
  std::string lines;
  int count = 0;
  for (int b = 0; b < kBands && field_as_int(record, AUDIOPOST_EQ10_ENABLE) == 1; ++b) {
    const int start =
        AUDIOPOST_EQ10_SECTION + AUDIOPOST_EQ10_STRIDE * source + AUDIOPOST_EQ10_BAND_STRIDE * b;
    if (field_as_int(record, start + AUDIOPOST_EQ10_BAND_ENABLE) == 0) continue;
    const auto skip = [&](const char* why) {
      left_out.push_back("EQ10 channel " + std::to_string(channel) + " band " + std::to_string(b) + ": " +
                         why);
    };
    const int type = field_as_int(record, start + AUDIOPOST_EQ10_TYPE);
    const double fc = record[static_cast<size_t>(start + AUDIOPOST_EQ10_FC)];
    // As the designer clamps them; what is not a number becomes the upper end there.
    const auto bounded = [](double value, double least, double most) {
      return !(value <= most) ? most : std::max(value, least);
    };
    const bool shelf = type == LowShelf || type == HighShelf;
    const double q =
        bounded(record[static_cast<size_t>(start + AUDIOPOST_EQ10_Q)], kLeastQ, shelf ? kMostSlope : kMostQ);
    const double gain_dB =
        bounded(record[static_cast<size_t>(start + AUDIOPOST_EQ10_BOOST)], -kMostGain_dB, kMostGain_dB);
    std::string filter;
    if (!std::isfinite(fc)) {
      skip("fc is not a number");
    } else if (type == Parametric) {
      filter = "PK Fc " + text(fc) + " Hz Gain " + text(gain_dB) + " dB Q " + text(q);
    } else if (shelf) {
      filter = (type == LowShelf ? "LSC Fc " : "HSC Fc ") + text(fc) + " Hz Gain " + text(gain_dB) +
               " dB Q " + text(q_from_slope(q, gain_dB));
    } else if (type == GeneralLP || type == GeneralHP) {
      filter = (type == GeneralLP ? "LPQ Fc " : "HPQ Fc ") + text(fc) + " Hz Q " + text(q);
      preamp_dB += gain_dB;  // these filters have no gain in the text
    } else if ((type == ButterworthLP || type == ButterworthHP) && gain_dB == 0.0) {
      filter = (type == ButterworthLP ? "LPQ Fc " : "HPQ Fc ") + text(fc) + " Hz Q " + text(1.0 / 1.4142);
    } else {
      const char* const name = filter_name(type);
      skip(!name              ? "has an unknown type"
           : type == BandPass ? "is a BandPass"
                              : "is a Butterworth filter with boost");
    }
    if (!filter.empty()) lines += "Filter " + std::to_string(++count) + ": ON " + filter + "\n";
  }
  return "Preamp: " + text(preamp_dB) + " dB\n" + lines;
}

}  // namespace host
