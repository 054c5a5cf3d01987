// What effects have in common: how handles come and go; bass enhancer, exciter and de-esser: settings, blocks.
#include <algorithm>
#include <cmath>

#include "modules.h"
#include "support.h"

using namespace support;

namespace {

using Section = std::vector<float>;

struct Tone : Module {
  int stride = 0;
  Section valid{}, other{}, broken{};                                // two channels each
  Section read_back_mono{}, read_back_stereo{}, read_back_linked{};  // of `valid`, over a section of -1
  std::string listing{};                                             // printed for `valid`
  void* create(const Section& section, int channels, int link, int bit_rate = 16) const {
    return init(section.data(), {bit_rate, 48000, channels, 480, link});
  }
};

std::vector<Tone> modules() {
  Tone bass{kModule[kBassEnhancer]}, exciter{kModule[kExciter]}, de_esser{kModule[kDeEsser]};
  bass.stride = 10;
  bass.valid = {-3, 6, 2, 120, 1.9f, 40, -1, -1, -1, -1, -6, 8, 3, 90, 0.9f, 30, -1, -1, -1, -1};
  bass.other = {0, 4, 1, 200, 0, 20, 0, 0, 0, 0, -1, 5, 5, 60, 1, 50, 0, 0, 0, 0};
  bass.broken = {0, 0, 1, 100, 0, 20, 0, 0, 0, 0, 0, 6, 10.5f, NAN, 1, 1e9f, 0, 0, 0, 0};
  bass.read_back_mono = {-3, 6, 2, 120, 1, 40, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
  bass.read_back_stereo = {-3, 6, 2, 120, 1, 40, -1, -1, -1, -1, -6, 8, 3, 90, 0, 30, -1, -1, -1, -1};
  bass.read_back_linked = {-3, 6, 2, 120, 1, 40, -1, -1, -1, -1, -3, 6, 2, 120, 1, 40, -1, -1, -1, -1};
  bass.listing =
      "BassEnhancer Param\n=====================\n"
      "==== channel:0 "
      "====\namount_dB:-3.00\ndrive:6.00\nblend:2.00\nfreq:120.00\nfloor_active:1\nfloor:40.00\n"
      "==== channel:1 "
      "====\namount_dB:-6.00\ndrive:8.00\nblend:3.00\nfreq:90.00\nfloor_active:0\nfloor:30.00\n";

  exciter.stride = 5;
  exciter.valid = {0.25f, 0.5f, 3000, 0.5f, -1, 0, 1, 5000, 0.125f, -1};
  exciter.other = {0, 0.25f, 2000, 1, 0, 0.125f, 0, 4000, 0.75f, 0};
  exciter.broken = {NAN, 1e9f, 1000, 0.5f, 0, 0, -1e9f, NAN, INFINITY, 0};
  exciter.read_back_mono = {0.25f, 0.5f, 3000, 0.5f, -1, -1, -1, -1, -1, -1};
  exciter.read_back_stereo = exciter.valid;
  exciter.read_back_linked = {0.25f, 0.5f, 3000, 0.5f, -1, 0.25f, 0.5f, 3000, 0.5f, -1};
  exciter.listing =
      "Exciter Param\n=====================\n"
      "==== channel:0 ====\neven_harmonics:0.25\ndistortion_amount:0.50\nCutoff:3000.00\nmix:0.50\n"
      "==== channel:1 ====\neven_harmonics:0.00\ndistortion_amount:1.00\nCutoff:5000.00\nmix:0.12\n";

  de_esser.stride = 5;
  de_esser.valid = {6000, -30, -1, -1, -1, 7000, -40, -1, -1, -1};
  de_esser.other = {5000, -60, 0, 0, 0, 8000, -20, 0, 0, 0};
  de_esser.broken = {NAN, -30, 0, 0, 0, 24000, -INFINITY, 0, 0, 0};
  de_esser.read_back_mono = {-1, -1, -1, -1, -1, -30, -1, -1, -1, -1};
  de_esser.read_back_stereo = {-1, -1, -1, -1, -1, 7000, -40, -1, -1, -1};
  de_esser.read_back_linked = {-1, -1, -1, -1, -1, 6000, -30, -1, -1, -1};
  de_esser.listing =
      "DeEsser Param\n=====================\n---- channel:0 ----\nf0:6000.00\nthreshold:-30.00\n"
      "---- channel:1 ----\nf0:7000.00\nthreshold:-40.00\n";
  return {bass, exciter, de_esser};
}

// Ten blocks of 480 in stereo, each cut in pieces of at most `piece`; in place when asked to.
std::vector<Samples> run(const Tone& m, void* s, int piece = 480, bool in_place = true) {
  Planar in({noise(4800, 20000, 1), noise(4800, 20000, 2)});
  Planar out({Samples(4800), Samples(4800)});
  for (int done = 0; done < 4800; done += piece) {
    float* from[2] = {in.data[0].data() + done, in.data[1].data() + done};
    float* to[2] = {out.data[0].data() + done, out.data[1].data() + done};
    const int left_in_block = 480 - done % 480;
    CHECK(m.process(s, from, in_place ? from : to, std::min(piece, left_in_block)) == 2);
    done -= piece - std::min(piece, left_in_block);
  }
  return in_place ? in.data : out.data;
}
bool same(const std::vector<Samples>& a, const std::vector<Samples>& b) {
  return same_bits(a[0], b[0]) && same_bits(a[1], b[1]);
}

}  // namespace

TEST_CASE("a retuned tone effect is a new one, however its memory, buffers and blocks differ") {
  for (const Tone& m : modules()) {
    CAPTURE(m.name);
    for (int link : {0, 1}) {
      void* fresh = m.create(m.valid, 2, link);
      const auto expected = run(m, fresh);
      CHECK(std::all_of(expected[0].begin(), expected[0].end(), [](float x) { return std::isfinite(x); }));
      m.destroy(fresh);
      const struct {
        const Section& before;
        int piece;
      } rows[] = {{m.valid, 480}, {m.other, 1}, {m.broken, 77}};
      for (const auto& r : rows) {
        void* s = m.create(r.before, 2, link);
        run(m, s);
        m.set_para(s, m.valid.data());
        // The de-esser's gain takes one step a call.
        CHECK(same(run(m, s, m.name == "DeEsser" ? 480 : r.piece, false), expected));
        m.destroy(s);
      }
      // Linked, channel 1's record has no say; not linked, it has.
      Section changed = m.valid;
      std::copy_n(m.other.begin() + m.stride, m.stride, changed.begin() + m.stride);
      void* s = m.create(changed, 2, link);
      const auto result = run(m, s);
      CHECK(same_bits(result[0], expected[0]));
      CHECK(same_bits(result[1], expected[1]) == (link == 1));
      m.destroy(s);
    }
  }
}

TEST_CASE("a tone effect reads its settings back, prints them, and says what is wrong") {
  for (const Tone& m : modules()) {
    CAPTURE(m.name);
    const struct {
      int channels, link;
      const Section& expected;
    } rows[] = {{1, 0, m.read_back_mono},
                {2, 0, m.read_back_stereo},
                {2, 1, m.read_back_linked},
                {0, 0, Section(m.valid.size(), -1.0f)}};
    for (const auto& r : rows) {
      CAPTURE(r.channels);
      void* s = m.create(m.valid, r.channels, r.link);
      Section back(m.valid.size(), -1.0f);
      m.get_para(s, back.data());
      CHECK(same_bits(back, r.expected));
      m.destroy(s);
    }
    const auto outcome = in_child([&] { m.print_para(m.create(m.valid, 2, 0)); });
    CHECK(logged_by(outcome.err, m.name + "_PrintPara") == m.listing);
  }
}

TEST_CASE("an effect refuses a wrong bit rate, ends at a third channel and has nothing to do without any") {
  Section section(400);
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
