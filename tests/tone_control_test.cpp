// What bass enhancer, exciter and de-esser have in common: handles, settings, blocks.
#include <algorithm>
#include <cmath>

#include "support.h"

namespace {

using Section = std::vector<float>;

struct Module {
  std::string name;
  int stride;
  Section valid, other, broken;  // two channels each
  void* (*init)(const float* section, int bit_rate, int channels, int channel_link);
  int (*process)(void*, float**, float**, int);
  void (*set)(void*, const float*);
  void (*get)(void*, float*);
  void (*print)(void*);
  int (*destroy)(void*);
  Section read_back_mono, read_back_stereo, read_back_linked;  // of `valid`, over a section of -1
  std::vector<const char*> lines;                              // printed for `valid`
  const char* channel_line;
};

template <class State, auto Process, auto SetPara, auto GetPara, auto PrintPara, auto Destroy>
void fill(Module& m) {
  m.process = [](void* s, float** in, float** out, int n) {
    return Process(static_cast<State*>(s), in, out, n);
  };
  m.set = [](void* s, const float* section) { SetPara(static_cast<State*>(s), section); };
  m.get = [](void* s, float* section) { GetPara(static_cast<State*>(s), section); };
  m.print = [](void* s) { PrintPara(static_cast<State*>(s)); };
  m.destroy = [](void* s) { return Destroy(static_cast<State*>(s)); };
}

std::vector<Module> modules() {
  Module bass{}, exciter{}, de_esser{};
  bass.name = "BassEnhancer", bass.stride = 10;
  bass.valid = {-3, 6, 2, 120, 1.9f, 40, -1, -1, -1, -1, -6, 8, 3, 90, 0.9f, 30, -1, -1, -1, -1};
  bass.other = {0, 4, 1, 200, 0, 20, 0, 0, 0, 0, -1, 5, 5, 60, 1, 50, 0, 0, 0, 0};
  bass.broken = {0, 0, 1, 100, 0, 20, 0, 0, 0, 0, 0, 6, 10.5f, NAN, 1, 1e9f, 0, 0, 0, 0};
  bass.read_back_mono = {-3, 6, 2, 120, 1, 40, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
  bass.read_back_stereo = {-3, 6, 2, 120, 1, 40, -1, -1, -1, -1, -6, 8, 3, 90, 0, 30, -1, -1, -1, -1};
  bass.read_back_linked = {-3, 6, 2, 120, 1, 40, -1, -1, -1, -1, -3, 6, 2, 120, 1, 40, -1, -1, -1, -1};
  bass.lines = {"BassEnhancer Param\n", "=====================\n",
                "amount_dB:-3.00\n",    "drive:6.00\n",
                "blend:2.00\n",         "freq:120.00\n",
                "floor_active:1\n",     "floor:40.00\n",
                "amount_dB:-6.00\n",    "freq:90.00\n",
                "floor_active:0\n",     "floor:30.00\n"};
  bass.channel_line = "==== channel:1 ====\n";
  bass.init = [](const float* s, int bits, int channels, int link) -> void* {
    return BassEnhancer_Init(s, bits, 48000, channels, link);
  };
  fill<BassEnhancerState, BassEnhancer_Process, BassEnhancer_SetPara, BassEnhancer_GetPara,
       BassEnhancer_PrintPara, BassEnhancer_Destroy>(bass);

  exciter.name = "Exciter", exciter.stride = 5;
  exciter.valid = {0.25f, 0.5f, 3000, 0.5f, -1, 0, 1, 5000, 0.125f, -1};
  exciter.other = {0, 0.25f, 2000, 1, 0, 0.125f, 0, 4000, 0.75f, 0};
  exciter.broken = {NAN, 1e9f, 1000, 0.5f, 0, 0, -1e9f, NAN, INFINITY, 0};
  exciter.read_back_mono = {0.25f, 0.5f, 3000, 0.5f, -1, -1, -1, -1, -1, -1};
  exciter.read_back_stereo = exciter.valid;
  exciter.read_back_linked = {0.25f, 0.5f, 3000, 0.5f, -1, 0.25f, 0.5f, 3000, 0.5f, -1};
  exciter.lines = {"Exciter Param\n",
                   "=====================\n",
                   "even_harmonics:0.25\n",
                   "Cutoff:3000.00\n",
                   "mix:0.50\n",
                   "distortion_amount:1.00\n",
                   "mix:0.12\n",
                   "Cutoff:5000.00\n",
                   "distortion_amount:0.50\n"};
  exciter.channel_line = "==== channel:1 ====\n";
  exciter.init = [](const float* s, int bits, int channels, int link) -> void* {
    return Exciter_Init(s, bits, 48000, channels, link);
  };
  fill<ExciterState, Exciter_Process, Exciter_SetPara, Exciter_GetPara, Exciter_PrintPara, Exciter_Destroy>(
      exciter);

  de_esser.name = "DeEsser", de_esser.stride = 5;
  de_esser.valid = {6000, -30, -1, -1, -1, 7000, -40, -1, -1, -1};
  de_esser.other = {5000, -60, 0, 0, 0, 8000, -20, 0, 0, 0};
  de_esser.broken = {NAN, -30, 0, 0, 0, 24000, -INFINITY, 0, 0, 0};
  de_esser.read_back_mono = {-1, -1, -1, -1, -1, -30, -1, -1, -1, -1};
  de_esser.read_back_stereo = {-1, -1, -1, -1, -1, 7000, -40, -1, -1, -1};
  de_esser.read_back_linked = {-1, -1, -1, -1, -1, 6000, -30, -1, -1, -1};
  de_esser.lines = {"DeEsser Param\n", "=====================\n", "f0:6000.00\n", "threshold:-30.00\n",
                    "f0:7000.00\n",    "threshold:-40.00\n"};
  de_esser.channel_line = "---- channel:1 ----\n";
  de_esser.init = [](const float* s, int bits, int channels, int link) -> void* {
    return DeEsser_Init(s, bits, 48000, channels, 480, link);
  };
  fill<DeEsserState, DeEsser_Process, DeEsser_SetPara, DeEsser_GetPara, DeEsser_PrintPara, DeEsser_Destroy>(
      de_esser);
  return {bass, exciter, de_esser};
}

// Ten blocks of 480 in stereo, each cut in pieces of at most `piece`; in place when asked to.
std::vector<support::Samples> run(const Module& m, void* s, int piece = 480, bool in_place = true) {
  support::Planar in({support::noise(4800, 20000, 1), support::noise(4800, 20000, 2)});
  support::Planar out({support::Samples(4800), support::Samples(4800)});
  for (int done = 0; done < 4800; done += piece) {
    float* from[2] = {in.data[0].data() + done, in.data[1].data() + done};
    float* to[2] = {out.data[0].data() + done, out.data[1].data() + done};
    const int left_in_block = 480 - done % 480;
    CHECK(m.process(s, from, in_place ? from : to, std::min(piece, left_in_block)) == 2);
    done -= piece - std::min(piece, left_in_block);
  }
  return in_place ? in.data : out.data;
}
bool same(const std::vector<support::Samples>& a, const std::vector<support::Samples>& b) {
  return support::same_bits(a[0], b[0]) && support::same_bits(a[1], b[1]);
}

}  // namespace

TEST_CASE("a retuned tone effect is a new one, whatever its settings and its memory were") {
  for (const Module& m : modules()) {
    CAPTURE(m.name);
    for (int link : {0, 1}) {
      void* fresh = m.init(m.valid.data(), 16, 2, link);
      const auto expected = run(m, fresh);
      CHECK(std::all_of(expected[0].begin(), expected[0].end(), [](float x) { return std::isfinite(x); }));
      m.destroy(fresh);
      for (const Section& before : {m.valid, m.other, m.broken}) {
        void* s = m.init(before.data(), 16, 2, link);
        run(m, s);
        m.set(s, m.valid.data());
        CHECK(same(run(m, s), expected));
        m.destroy(s);
      }
      // Linked, channel 1's record has no say; not linked, it has.
      Section changed = m.valid;
      std::copy_n(m.other.begin() + m.stride, m.stride, changed.begin() + m.stride);
      void* s = m.init(changed.data(), 16, 2, link);
      const auto result = run(m, s);
      CHECK(support::same_bits(result[0], expected[0]));
      CHECK(support::same_bits(result[1], expected[1]) == (link == 1));
      m.destroy(s);
    }
  }
}

TEST_CASE(
    "a tone effect's output doesn't depend on the buffers, nor the sample-wise effects' on how blocks are "
    "cut") {
  for (const Module& m : modules()) {
    CAPTURE(m.name);
    std::vector<support::Samples> expected;
    for (int piece : {480, 1, 77}) {
      for (bool in_place : {true, false}) {
        if (m.name == "DeEsser" && piece != 480) continue;
        void* s = m.init(m.valid.data(), 16, 2, 0);
        const auto result = run(m, s, piece, in_place);
        if (expected.empty()) expected = result;
        CHECK(same(result, expected));
        m.destroy(s);
      }
    }
  }
}

TEST_CASE("a tone effect in 24 or 32 bit does to a scaled signal what it does in 16 bit") {
  for (const Module& m : modules())
    for (int bits : {24, 32}) {
      if (m.name == "DeEsser") continue;  // its threshold's dB constants are not exact powers of two
      CAPTURE(m.name);
      const float scale = std::ldexp(1.0f, bits - 16);
      support::Planar narrow({support::noise(480, 20000)}), wide(narrow.data);
      for (float& x : wide.data[0]) x *= scale;
      void* a = m.init(m.valid.data(), 16, 1, 0);
      void* b = m.init(m.valid.data(), bits, 1, 0);
      m.process(a, narrow(), narrow(), 480);
      m.process(b, wide(), wide(), 480);
      for (float& x : wide.data[0]) x /= scale;
      CHECK(support::same_bits(narrow.data[0], wide.data[0]));
      m.destroy(a), m.destroy(b);
    }
}

TEST_CASE("a tone effect reads its settings back, prints them, and says what is wrong") {
  for (const Module& m : modules()) {
    CAPTURE(m.name);
    struct {
      int channels, link;
      const Section& expected;
    } const rows[] = {{1, 0, m.read_back_mono},
                      {2, 0, m.read_back_stereo},
                      {2, 1, m.read_back_linked},
                      {0, 0, Section(m.valid.size(), -1.0f)},
                      {-1, 1, Section(m.valid.size(), -1.0f)}};
    for (const auto& r : rows) {
      CAPTURE(r.channels);
      void* s = m.init(m.valid.data(), 16, r.channels, r.link);
      Section back(m.valid.size(), -1.0f);
      m.get(s, back.data());
      CHECK(support::same_bits(back, r.expected));
      if (r.channels < 1) CHECK(m.process(s, nullptr, nullptr, 480) == r.channels);
      CHECK(m.destroy(s) == 0);
    }
    CHECK(m.destroy(nullptr) == -3);

    const auto outcome = support::in_child([&] {
      void* s = m.init(m.valid.data(), 16, 2, 0);
      m.print(s);
      m.destroy(s);
      if (m.init(m.valid.data(), 20, 2, 0)) std::abort();
      m.init(m.valid.data(), 16, 3, 0);
    });
    CHECK(outcome.status == support::kExitMinusOne);
    for (const char* line : m.lines) CHECK(support::logged(outcome.err, m.name + "_PrintPara", line));
    CHECK(support::count_logged(outcome.err, m.name + "_PrintPara", m.channel_line) == 1);
    CHECK(support::logged(outcome.err, m.name + "_Init", "bit_rate is wrong!\n"));
    CHECK(support::logged(outcome.err, m.name + "_Init", "Too Many Channel!\n\n"));
  }
}

TEST_CASE("the chain runs each effect on its own section, as the effect alone would") {
  using support::Record;
  struct {
    int flag, section;
    Section values;
  } rows[] = {{0, 30, {-10, 50, 50, 400, 100}}, {1, 60, {}}, {2, 80, {}}, {3, 90, {}}};
  const auto tone = modules();
  for (auto& r : rows) {
    CAPTURE(r.flag);
    if (r.flag > 0) r.values = tone[static_cast<size_t>(r.flag - 1)].valid;
    Record record = support::plain_record();
    record[static_cast<size_t>(10 + r.flag)] = 1;
    std::copy(r.values.begin(), r.values.end(), record.begin() + r.section);
    const auto pcm = support::noise_pcm(2 * 480 * 100);
    AudioPostState* chain = AudioPost_Init(record.data(), 480);
    const auto got = support::through_chain(chain, pcm, 2, 480);
    AudioPost_Destroy(chain);

    AutoGainState* gain = AutoGain_Init(r.values.data(), 16, 48000, 2, 480);
    const Module* m = r.flag > 0 ? &tone[static_cast<size_t>(r.flag - 1)] : nullptr;
    void* effect = m ? m->init(r.values.data(), 16, 2, 0) : nullptr;
    support::Planar x({support::Samples(480), support::Samples(480)});
    for (size_t block = 0; block < pcm.size(); block += 960) {
      for (size_t i = 0; i < 960; ++i) x.data[i % 2][i / 2] = static_cast<float>(pcm[block + i]);
      if (m) m->process(effect, x(), x(), 480);
      if (!m) AutoGain_Process(gain, x(), x(), 480);
      for (size_t i = 0; i < 960; ++i) {
        const float y = std::max(-32768.0f, std::min(32767.0f, x.data[i % 2][i / 2]));
        REQUIRE(got[block + i] == static_cast<int16_t>(y));
      }
    }
    AutoGain_Destroy(gain);
    if (m) m->destroy(effect);
  }
}
