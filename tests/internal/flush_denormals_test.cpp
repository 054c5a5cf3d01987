// Denormals cost nothing in any Process function, whatever the host thinks of them.
#include "common/flush_denormals.h"

#include <memory>

#include "full_record.h"
#include "modules.h"

using namespace support;

namespace {

constexpr int kFrames = 480;

#if defined(__x86_64__)
using Mode = uint32_t;
Mode mode() { return _mm_getcsr(); }
void set_mode(Mode m) { _mm_setcsr(m); }
constexpr Mode kFlushing = 0x8040, kRoundings[] = {0, 0x2000, 0x4000, 0x6000};
constexpr Mode kDenormalTrapMasked = 0x100;  // an operation on a denormal, unless flushed, ends the process
#elif defined(__aarch64__)
using Mode = uint64_t;
Mode mode() {
  Mode m;
  asm volatile("mrs %0, fpcr" : "=r"(m));
  return m;
}
void set_mode(Mode m) { asm volatile("msr fpcr, %0" : : "r"(m) : "memory"); }
#elif defined(__arm__)
using Mode = uint32_t;
Mode mode() {
  Mode m;
  asm volatile("vmrs %0, fpscr" : "=r"(m));
  return m & (7u << 22);  // not the flags of the latest comparison
}
void set_mode(Mode m) { asm volatile("vmsr fpscr, %0" : : "r"(m) : "memory"); }
#endif
#if !defined(__x86_64__)
constexpr Mode kFlushing = 1 << 24, kRoundings[] = {0, 1 << 22, 2 << 22, 3 << 22};
#endif

struct Processing {
  std::string name;
  std::function<void()> process;  // with denormals on the way
};

std::vector<Processing> all() {
  static Planar in({Samples(kFrames, 1e-40f), Samples(kFrames, 1e-40f)}), out(in.data);
  static std::vector<int16_t> pcm = noise_pcm(2 * kFrames), silence(2 * kFrames);
  Record record = full_record();
  std::vector<Processing> list;
  for (const Module& m : kModule) {
    const std::shared_ptr<void> s(m.init(&record[size_t(m.section)], {16, 48000, 2, kFrames, 0}), m.destroy);
    list.push_back({m.name, [&m, s] { m.process(s.get(), in(), out(), kFrames); }});
    if (&m == &kModule[kMaximizer])
      list.push_back({"Agc", [&m, s] { m.second_process(s.get(), in(), out(), kFrames); }});
  }
  const std::shared_ptr<Ebur128State> meter(ebur128_init(16, 48000, 2, 400, 100), ebur128_destroy);
  list.push_back({"meter", [=] { ebur128_addframes(meter.get(), in(), kFrames); }});
  const std::shared_ptr<LevelDetectorState> detector(LevelDetector_Init(16, 48000, 2, kFrames),
                                                     LevelDetector_Destroy);
  LevelDetector_Process(detector.get(), pcm.data(), kFrames);
  list.push_back({"LevelDetector", [=] {
                    for (int i = 0; i < 300; ++i)  // its filters fall silent
                      LevelDetector_Process(detector.get(), silence.data(), kFrames);
                  }});
  record[20] = record[25] = -780;  // a gain of 1e-39
  const std::shared_ptr<AudioPostState> chain(AudioPost_Init(record.data(), kFrames), AudioPost_Destroy);
  list.push_back({"chain", [=] { AudioPost_Process(chain.get(), pcm.data(), pcm.data(), 2, kFrames); }});
  return list;
}

}  // namespace

TEST_CASE("while it lives an object reads and writes denormals as zero, and no rounding changes") {
  volatile float denormal = 1e-40f, smallest = 1.2e-38f;
  const auto zeros = [&] { return (denormal * 1e20f == 0.0f) + (smallest * 0.5f == 0.0f); };
  const Mode host = mode();
  for (Mode rounding : kRoundings)
    for (Mode flushing : {Mode{0}, kFlushing}) {
      CAPTURES(rounding, flushing);
      const Mode of_host = (host & ~kFlushing & ~kRoundings[3]) | flushing | rounding;
      set_mode(of_host);
      int inside;
      Mode mode_inside;
      {
        const common::FlushDenormals flush;
        inside = zeros(), mode_inside = mode();
      }
      const Mode after = mode();
      const int outside = zeros();
      set_mode(host);
      CHECK(inside == 2);
      CHECK((mode_inside & kRoundings[3]) == rounding);
      CHECK(outside == (flushing ? 2 : 0));
      CHECK(after == of_host);
    }
}

TEST_CASE("every Process function flushes denormals and gives the host its own mode back") {
  for (const Processing& p : all()) {
    CAPTURE(p.name);
#if defined(__x86_64__)
    const auto trapped = in_child([&] {
      set_mode(mode() & ~kDenormalTrapMasked);
      p.process();
    });
    CHECK(trapped.signal == 0);
    CHECK(trapped.status == 0);
#endif
    const Mode host = mode();
    for (Mode rounding : {kRoundings[0], kRoundings[1]})
      for (Mode flushing : {Mode{0}, kFlushing}) {
        const Mode of_host = host | flushing | rounding;
        set_mode(of_host);
        p.process();
        const Mode after = mode();
        set_mode(host);
        CHECK(after == of_host);
      }
  }
}
