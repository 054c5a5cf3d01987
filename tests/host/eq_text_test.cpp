// Parametric-EQ text, held to the filters that it stands for.
#include "host/eq_text.h"

#include <complex>
#include <random>

#include "full_record.h"
#include "host/files.h"

using host::Record;

namespace {

using Complex = std::complex<double>;
constexpr double kPi = 3.141592653589793, kRate = 48000.0;

// What the text means: the cookbook's analog filters at s = j tan(w / 2) / tan(w0 / 2), by Q and never by a slope.
double expected_dB(char type, double fc, double gain_dB, double q, double hz) {
  const Complex s(0, std::tan(kPi * hz / kRate) / std::tan(kPi * fc / kRate));
  const double A = std::pow(10.0, gain_dB / 40.0), r = std::sqrt(A) / q;
  const Complex h = type == 'P'   ? (s * s + s * A / q + 1.0) / (s * s + s / A / q + 1.0)  // peak
                    : type == 'L' ? A * (s * s + r * s + A) / (A * s * s + r * s + 1.0)    // shelves
                    : type == 'H'
                        ? A * (A * s * s + r * s + 1.0) / (s * s + r * s + A)
                        : (type == 'l' ? 1.0 : s * s) / (s * s + s / q + 1.0);  // low- and high-pass
  return support::to_dB(std::abs(h));
}

// What EQ10 makes of a record: gain and every enabled band, designed by the library.
double response_dB(const Record& record, int channel, double hz) {
  const Complex z = std::polar(1.0, -2.0 * kPi * hz / kRate);
  double dB = record[size_t(20 + 5 * channel)];
  for (int band = 0; band < 10; ++band) {
    const float* const r = &record[size_t(100 + 50 * channel + 5 * band)];
    if (r[0] != 1.0f) continue;
    float c[5];  // b0, b1, b2, a1, a2
    filter_calculateCoeffs(c, int(r[1]), float(kRate), r[2], r[3], r[4]);
    const std::array<double, 5> k = {c[0], c[1], c[2], c[3], c[4]};
    dB += support::to_dB(std::abs((k[0] + z * (k[1] + z * k[2])) / (1.0 + z * (k[3] + z * k[4]))));
  }
  return dB;
}

Record imported(const std::string& text, std::vector<std::string>* notes = nullptr, int channel = -1) {
  Record record = support::plain_record();
  record[AUDIOPOST_CHANNEL_LINK] = 1.0f;
  const auto told = host::import_eq(record, text, "eq.txt", channel);
  if (notes) *notes = told;
  return record;
}

}  // namespace

TEST_CASE("an imported filter has the response that its line stands for") {
  const double kSlope = 10.0 / 12.0, kShift = std::pow(10.0, 6.0 / 80.0),
               kShiftSlope = std::pow(10.0, 6.0 / (80.0 * kSlope));
  const double A = std::pow(10.0, 6.0 / 40.0);
  const auto q_of_slope = [&](double s) { return 1.0 / std::sqrt((A + 1.0 / A) * (1.0 / s - 1.0) + 2.0); };
  const double kSlopeOfQ = 1.0 / (1.0 + (1.0 / (0.9 * 0.9) - 2.0) / (A + 1.0 / A));
  const struct {
    std::string line;
    char type;
    double fc, gain_dB, q;
  } rows[] = {
      {"PK Fc 1,000.5 Hz Gain +6,5 dB Q 10", 'P', 1000.5, 6.5, 10},
      {"PK\tFc 1\u00a0000 Hz  Gain 3dB  BW Oct 1.0", 'P', 1000, 3,
       1.0 / (2.0 * std::sinh(std::log(2.0) / 2.0 * (kPi / 24.0) / std::sin(kPi / 24.0)))},
      {"modal fc 400 hz gain -12 db q 8 t60 target 300 ms", 'P', 400, -12, 8},
      {"LSC Fc 105 Hz Gain 5.5 dB Q 0.70", 'L', 105, 5.5, 0.7},
      {"HSC Fc 8 kHz Gain 12 dB Q 1.1", 'H', 8000, 12, 1.1},
      {"LS 12 dB Fc 200 Hz Gain 6 dB", 'L', 200 * kShift, 6, q_of_slope(1.0)},
      {"HS 10 dB Fc 4000 Hz Gain 6 dB", 'H', 4000 / kShiftSlope, 6, q_of_slope(kSlope)},
      {"LSC Fc 200 Hz Gain 6 dB", 'L', 200, 6, q_of_slope(0.9)},
      {"LS Q Fc 200 Hz Gain 6 dB Q 0.9", 'L', 200 * std::pow(10.0, 6.0 / (80.0 * kSlopeOfQ)), 6, 0.9},
      {"HS 6dB Fc 4,000 Hz Gain 6 dB", 'H', 4000 / (kShift * kShift), 6, q_of_slope(0.5)},
      {"pk Fc 1,250 Hz Gain \u22123 dB Q 2 # a comment", 'P', 1250, -3, 2},
      {"PK Fc 1,250 kHz Gain 3 dB Q 2", 'P', 1250, 3, 2},
      {"PK Fc 1250,125 Hz Gain 3 dB Q 2,125", 'P', 1250.125, 3, 2.125},
      {"PK Fc 1.5kHz Gain 3 dB Q 2", 'P', 1500, 3, 2},
      {"LP Q Fc 3000 Hz Q 0.9", 'l', 3000, 0, 0.9},
      {"LP Fc 3000 Hz", 'l', 3000, 0, std::sqrt(0.5)},
      {"HPQ Fc 60 Hz Q 1.2", 'h', 60, 0, 1.2},
  };
  for (const auto& r : rows) {
    CAPTURES(r.line);
    const Record record = imported("\ufeffPreamp: -6.2 dB\r\nFilter  1: ON  " + r.line + "\r\n");
    for (double hz = 20.0; hz < 20000.0; hz *= 1.5)
      CHECK(response_dB(record, 0, hz) + 6.2 ==
            doctest::Approx(expected_dB(r.type, r.fc, r.gain_dB, r.q, hz)).epsilon(0.002).scale(10.0));
  }
}

TEST_CASE("an exported EQ reads back with the same response") {
  std::mt19937 random(3);
  const auto between = [&](float low, float high) {
    return low + (high - low) * float(random() % 10001) / 10000;
  };
  for (int round = 0; round < 50; ++round) {
    Record record = support::plain_record();
    record[14] = 1.0f, record[25] = between(-12, 3);
    for (size_t at = 150; at < 200; at += 5) {
      const float type = std::array<float, 7>{0, 1, 2, 3, 4, 6, 7}[random() % 7];
      support::put(
          record, int(at),
          {float(random() % 2), type, between(30, 15000), between(0.3f, 1), type < 5 ? between(-20, 20) : 0});
    }
    std::vector<std::string> left_out;
    Record back = support::plain_record();
    CHECK(host::import_eq(back, host::export_eq(record, 1, left_out) + "Filter: ON None\n", "eq", 1).empty());
    CHECK(left_out.empty());
    for (double hz = 25.0; hz < 20000.0; hz *= 2.0)
      CHECK(response_dB(back, 1, hz) ==
            doctest::Approx(response_dB(record, 1, hz)).epsilon(1e-3).scale(10.0));
  }
}

TEST_CASE("what EQ10 has no place for is told, line by line") {
  std::vector<std::string> notes;
  std::string text =
      "Room EQ\nNotes: none\nPreamp: -1 dB\nPreamp: -2 dB\nGraphicEQ: 20 0\n"
      "Filter 1: OFF PK Fc 100 Hz Gain 1 dB Q 1\nFilter 2: ON Notch Fc 50 Hz\n"
      "Filter 3: ON PK Fc 100 Hz Gain 25 dB Q 99\n"
      "Filter 4: ON LP Fc 24000 Hz\nFilter 5: ON None\nChannel: C all\n"
      "Filter: ON PK Fc 0,125 Hz Gain 1 dB Q 1\nFilter: ON LS 3 dB Fc 20000 Hz Gain 20 dB\n";
  for (int i = 0; i < 10; ++i) text += "Filter: ON PK Fc 1000 Hz Gain 1 dB Q 1\n";
  const Record record = imported(text, &notes);
  CHECK(notes == std::vector<std::string>{
                     "eq.txt:5: left out: GraphicEQ", "eq.txt:11: left out: what is for channel C",
                     "eq.txt:6: left out: is off", "eq.txt:7: left out: EQ10 has no filter of type Notch",
                     "eq.txt:8: Q 99 is clamped to 16", "eq.txt:8: Gain 25 is clamped to 20",
                     "eq.txt:9: left out: Fc is not below half the sample rate, 24000 Hz",
                     "eq.txt:12: Fc 0.125 Hz is below 10 Hz",
                     "eq.txt:13: left out: the middle of its slope is not below half the sample rate",
                     "eq.txt:22: left out: EQ10 has ten bands", "eq.txt:23: left out: EQ10 has ten bands"});
  CHECK(record[20] == -3.0f);
  CHECK(record[104] == 20.0f);
  Record strange = support::plain_record();
  strange[14] = 1.0f;
  const float bands[][5] = {
      {1, 5, 1000, 1, 0}, {1, 6, 1000, 1, 3}, {1, 9, 1000, 1, 0}, {1, 0, 1000, NAN, 35}};
  for (size_t band = 0; band < 4; ++band) std::copy_n(bands[band], 5, &strange[100 + 5 * band]);
  std::vector<std::string> left_out;
  CHECK(host::export_eq(strange, 0, left_out) ==
        "Preamp: 0 dB\nFilter 1: ON PK Fc 1000 Hz Gain 20 dB Q 16\n");  // as the designer clamps them
  CHECK(left_out.size() == 3);
}

TEST_CASE("a channel gets the lines that are for it") {
  const std::string band = "Filter: ON PK Gain 1 dB Q 1 Fc ";
  const std::string text = "Preamp: -1 dB\n" + band + "100 Hz\nChannel: L\nPreamp: -2 dB\n" + band +
                           "200 Hz\nChannel: 2\n" + band + "300 Hz\nchannel: ALL\n" + band + "400 Hz\n";
  const struct {
    std::string text;
    int channel;
    float link, left_dB, right_dB;
    std::vector<float> left, right;  // Hz; the record's own where empty
  } rows[] = {
      {text, -1, 0, -3, -1, {100, 200, 400}, {100, 300, 400}},
      {text, 1, 0, 0, -1, {}, {100, 300, 400}},
      {"Channel: L\n" + band + "50 Hz\nChannel: R\n" + band + "50 Hz\n", -1, 1, 0, 0, {50}, {}},
      {"Preamp: -4 dB\n", -1, 1, -4, 0, {1000}, {}},  // no filters
      {"Preamp: -4 dB\n", 1, 0, 0, -4, {}, {1000}},
      {"Channel: L\nPreamp: -1 dB\nChannel: all\n" + band + "50 Hz\n", -1, 0, -1, 0, {50}, {50}},
  };
  for (const auto& r : rows) {
    CAPTURES(r.text);
    const Record music = host::preset("music");
    Record record = music;
    host::import_eq(record, r.text, "eq.txt", r.channel);
    CHECK(record[AUDIOPOST_CHANNEL_LINK] == r.link);
    if (r.link == 0) CHECK(record[370] == record[270]);  // the compressor's high band
    CHECK(record[20] == r.left_dB);
    CHECK(record[25] == r.right_dB);
    for (size_t i = 0; i < 10; ++i) {
      const auto own = [&](size_t start) {
        return start < 150 || r.link == 1 ? music[start] : music[start - 50];
      };
      const auto expected = [&](const std::vector<float>& fc, size_t start) {
        return fc.empty() ? own(start) : i < fc.size() ? fc[i] : 1000.0f;
      };
      CHECK(record[102 + 5 * i] == expected(r.left, 102 + 5 * i));
      CHECK(record[152 + 5 * i] == expected(r.right, 152 + 5 * i));
    }
  }
  Record flat = host::preset("music");
  CHECK(host::import_eq(flat, "Preamp: 0 dB\n", "eq.txt") ==
        std::vector<std::string>{"eq.txt: holds no filters; all bands are off"});
}

TEST_CASE("a filter line that is not understood is an error with its line and field") {
  const struct {
    const char *line, *error;
  } rows[] = {
      {"Filter 1: PK Fc 100 Hz", "eq.txt:2: 'PK' stands where ON or OFF should"},
      {"Filter 1: ON PK Fc abc Hz", "eq.txt:2: Fc: 'abc' is not a number"},
      {"Filter 1: ON PK Fc 100 Hz Q 1", "eq.txt:2: Gain: is missing"},
      {"Filter 1: ON PK Fc -5 Hz Gain 1 dB Q 1", "eq.txt:2: Fc: is not above 0 Hz"},
      {"Filter 1: ON LSC Fc 50 Hz Gain 1 dB Q 0", "eq.txt:2: Q: is not above 0"},
      {"Filter 1: ON PK Fc 100 Hz Gain 1 dB Q 1 foo", "eq.txt:2: 'foo' is not understood"},
      {"Preamp: loud", "eq.txt:2: Preamp: 'loud' is not a number"},
      {"Channel: C\nFilter: ON PK Fc 9 Hz Gain 1 dB Q 1",
       "eq.txt: holds no line that begins with Filter for the channels to set"},
  };
  for (const auto& r : rows)
    CHECK(error_of([&] { imported(std::string("# a comment\n") + r.line + "\n"); }) == r.error);
}
