// What the effects have in common: how handles come and go, what is read back and printed, and how the tone effects
// take a retune.
#include <algorithm>

#include "full_record.h"
#include "modules.h"

using namespace support;

namespace {

// Settings with fractions, which differ between the channels; the second channel has three bands.
Record distinct_record() {
  Record r = full_record();
  r[300] = 3;
  for (const Module& m : kModule)
    for (int i = 0; i < m.stride; ++i)
      r[size_t(m.section + i)] += 0.25f, r[size_t(m.section + m.stride + i)] += 0.5f;
  return r;
}

// What GetPara writes of a channel's record: f as it was given, i cut to an integer, . not at all.
std::string written(int module, int bands) {
  std::string text;
  if (module == kAutoGain) text = "fffii";
  if (module == kBassEnhancer) text = "ffffif";
  if (module == kExciter) text = "ffff";
  for (int band = 0; module == kEq10 && band < 10; ++band) text += "iifff";
  if (module == kDrc) text = "i" + std::string(99, '.');
  for (int band = 0; module == kDrc && band < bands; ++band)  // all but make-up gain and switch
    text.replace(band == 1 ? 70 : band == 0 ? 10 : size_t(20 * band - 10), 12, "ff..fffffiii");
  if (module == kMaximizer) text = "fffffffffff";
  return text;
}

// Ten blocks of 480 in stereo, each cut in pieces of at most `piece`.
std::vector<Samples> run(const Module& m, void* s, int piece = 480, bool in_place = true) {
  Planar in({noise(4800, 20000, 1), noise(4800, 20000, 2)}), out(in.data);
  for (int done = 0, n = 0; done < 4800; done += n) {
    n = std::min(piece, 480 - done % 480);
    float* from[2] = {in()[0] + done, in()[1] + done};
    float* to[2] = {out()[0] + done, out()[1] + done};
    CHECK(m.process(s, from, in_place ? from : to, n) == 2);
  }
  return in_place ? in.data : out.data;
}

}  // namespace

TEST_CASE("GetPara writes the settings in force, and leaves the rest of the section as the caller has it") {
  const Record record = distinct_record(), other = full_record();
  for (int m = 0; m < kModules; ++m)
    for (int channels : {0, 1, 2})
      for (const auto& [link, retuned] :
           {std::pair(0, false), {0, true}, {2, false}, {2, true}, {-1, true}}) {
        const Module& module = kModule[m];
        CAPTURES(module.name, channels, link, retuned);
        const float* const given = &record[size_t(module.section)];
        const float* const first = retuned ? &other[size_t(module.section)] : given;
        void* const s = module.init(first, {16, 48000, channels, 480, link});
        if (retuned) module.set_para(s, given);
        Samples got(size_t(2 * module.stride), -7.0f), expected = got;
        module.get_para(s, got.data());
        module.destroy(s);
        // Of a handle without channels, what it was created with.
        if (m == kDeEsser) expected[5] = (channels == 0 ? first : given)[1];
        for (int ch = 0; ch < (m == kAutoGain ? 1 : channels); ++ch) {
          const float* const from = given + (link ? 0 : ch * module.stride);
          const std::string fields = written(m, int(from[0]));
          for (size_t i = 0; i < fields.size(); ++i)
            if (fields[i] != '.')
              expected[size_t(ch * module.stride) + i] = fields[i] == 'i' ? std::trunc(from[i]) : from[i];
          if (m == kDeEsser && channels == 2) std::copy_n(from, 2, &expected[5]);
        }
        CHECK(same_bits(got, expected));
      }
}

TEST_CASE("every effect lists its settings by name") {
  const Record record = distinct_record();
  const struct {
    const char *text, *later = "";  // where the log begins, and what else stands there
  } rows[kModules] = {
      {"AutoGain Param\n=====================\ntarget_i_dB:-17.75\nattack_time:800.25\n"
       "release_time:400.25\nr128_wins:400\nr128_steps:100\n"},
      {"BassEnhancer Param\n=====================\n==== channel:0 ====\namount_dB:-5.75\ndrive:1.75\n"
       "blend:4.25\nfreq:90.25\nfloor_active:1\nfloor:30.25\n==== channel:1 ====\namount_dB:-5.50\n"},
      {"Exciter Param\n=====================\n==== channel:0 ====\neven_harmonics:0.35\n"
       "distortion_amount:0.65\nCutoff:5000.25\nmix:0.45\n==== channel:1 ====\neven_harmonics:0.60\n"},
      {"DeEsser Param\n=====================\n---- channel:0 ----\nf0:6500.25\nthreshold:-37.75\n"
       "---- channel:1 ----\nf0:6500.50\nthreshold:-37.50\n"},
      {"EQ Param\n=====================\n==== channel:0 ====\nfilterTypes:GeneralHP\nfc:31.50\nQ:1.15\n"
       "boost:0.25\nfilterTypes:LowShelf\n",
       "==== channel:1 ====\nfilterTypes:GeneralHP\nfc:31.75\n"},
      {"MultiBandDRC Param\n=====================\n==== channel:0 ====\ncrossover_band:4\n"
       "---- band:0 ----\nfreq_start:20.25\nfreq_end:150.25\ngain_dB:12.25\ndrc_enable:1\n"
       "compress_start:-23.75\nexpand_end:-54.75\nnoise_threshold:-69.75\nmax_gain:4.25\nmax_peak:-2.75\n"
       "attack_time:10\nrelease_time:100\nhold_time:0\n---- band:1 ----\nfreq_start:5000.25\n",
       "==== channel:1 ====\ncrossover_band:3\n---- band:0 ----\nfreq_start:20.50\n"},
      {"AGC Param\n===================== \n---- channel:0 ----\ncompress_start:-19.75\nexpand_end:-44.75\n"
       "noise_threshold:-59.75\nmax_gain:6.25\nmax_peak:-1.75\nattack_time:200.25\nrelease_time:400.25\n"
       "hold_time:0.250000\n---- channel:1 ----\ncompress_start:-19.50\nexpand_end:-44.50\n",
       "hold_time:0.500000\nMaximizer Param\n=====================\n==== channel:0 ====\n"
       "max_threshold:-2.75\nceiling:-0.75\nrelease:50.25\n==== channel:1 ====\nmax_threshold:-2.50\n"}};
  for (size_t m = 0; m < kModules; ++m) {
    const Module& module = kModule[m];
    CAPTURE(module.name);
    const auto child = in_child([&] {
      module.print_para(module.init(&record[size_t(module.section)], {16, 48000, 2, 480, 0}));
    });
    const std::string log = logged_by(child.err, module.name + "_PrintPara");
    CHECK(log.rfind(rows[m].text, 0) == 0);
    CHECK(log.find(rows[m].later) != std::string::npos);
  }
}

TEST_CASE("a retuned tone effect is a new one, however its memory, buffers and blocks differ") {
  const Record record = distinct_record();
  const struct {
    int module;
    Samples other, broken;  // two channels of settings each, the second of which make an infinite design
  } rows[] = {
      {kBassEnhancer,
       {0, 4, 1, 200, 0, 20, 0, 0, 0, 0, -1, 5, 5, 60, 1, 50, 0, 0, 0, 0},
       {0, 0, 1, 100, 0, 20, 0, 0, 0, 0, 0, 6, 10.5f, NAN, 1, 1e9f, 0, 0, 0, 0}},
      {kExciter,
       {0, 0.25f, 2000, 1, 0, 0.125f, 0, 4000, 0.75f, 0},
       {NAN, 1e9f, 1000, 0.5f, 0, 0, -1e9f, NAN, 1, 0}},
      {kDeEsser, {5000, -60, 0, 0, 0, 8000, -20, 0, 0, 0}, {NAN, -30, 0, 0, 0, 24000, -1e9f, 0, 0, 0}}};
  for (const auto& r : rows) {
    const Module& m = kModule[r.module];
    CAPTURE(m.name);
    const Samples valid(&record[size_t(m.section)], &record[size_t(m.section + 2 * m.stride)]);
    const auto created_with = [&](const Samples& section) {
      return m.init(section.data(), {16, 48000, 2, 480, 0});
    };
    void* const fresh = created_with(valid);
    const auto expected = run(m, fresh);
    CHECK(std::isfinite(rms(expected[0]) + rms(expected[1])));
    m.destroy(fresh);
    const std::pair<const Samples&, int> others[] = {{valid, 480}, {r.other, 1}, {r.broken, 77}};
    for (const auto& [before, piece] : others) {
      void* const s = created_with(before);
      run(m, s);
      m.set_para(s, valid.data());
      // The de-esser's gain takes one step a call.
      const auto got = run(m, s, r.module == kDeEsser ? 480 : piece, false);
      CHECK(same_bits(got[0], expected[0]));
      CHECK(same_bits(got[1], expected[1]));
      m.destroy(s);
    }
  }
}

TEST_CASE("corners out of order are told for each channel, in the name of the function that reads them") {
  Record record = full_record();
  record[216] = -50, record[405] = -40;  // channel 0: a noise_threshold over expand_end
  for (int m : {kDrc, kMaximizer})
    for (int link : {0, 1, 2}) {
      CAPTURES(kModule[m].name, link);
      const auto log = in_child([&] {
                         const float* const section = &record[size_t(kModule[m].section)];
                         void* const s = kModule[m].init(section, {16, 48000, 2, 480, link});
                         kModule[m].set_para(s, section);
                         if (m == kDrc)
                           MultiBandDRC_DRC_AdjustPara(static_cast<MultiBandDRCState*>(s), 0, 3, 0, 0, -24,
                                                       -50, -60, 6, -20, 1, 1, 1);
                       }).err;
      const std::string wrong =
          std::string("wrong param for ") + (m == kDrc ? "MultiDRC" : "agc") + ", please check again\n\n";
      for (const std::string function : {"_Init", "_SetPara", "_DRC_AdjustPara"})
        if (m == kDrc || function != "_DRC_AdjustPara")
          CHECK(logged_by(log, kModule[m].name + function) == (link ? wrong + wrong : wrong));
    }
}

TEST_CASE("an effect refuses a wrong bit rate, ends at a third channel and has nothing to do without any") {
  Samples section(400);
  section[3] = section[4] = 400;  // the meter's window and step, longer than a block
  for (const Module& m : kModule) {
    CAPTURE(m.name);
    const bool any_bit_rate = m.name == "EQ10", any_channels = any_bit_rate || m.name == "AutoGain";
    CHECK(m.destroy(nullptr) == -3);
    for (int channels : {0, -4}) {
      void* s = m.init(section.data(), {16, 48000, channels, 480, 0});
      m.set_para(s, section.data());
      CHECK(m.process(s, nullptr, nullptr, 480) == channels);
      CHECK(m.destroy(s) == 0);
    }
    const auto outcome = in_child([&] {
      if (!m.init(section.data(), {20, 48000, 2, 480, 0}) == any_bit_rate) std::abort();
      m.init(section.data(), {16, 48000, 3, 480, 0});
    });
    CHECK(outcome.status == (any_channels ? 0 : kExitMinusOne));
    CHECK(logged(outcome.err, m.name + "_Init", "bit_rate is wrong!\n") != any_bit_rate);
    CHECK(logged(outcome.err, m.name + "_Init", "Too Many Channel!\n\n") != any_channels);
  }
}
