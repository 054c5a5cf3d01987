#include "analysis/stages.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>

namespace analysis {
namespace {

constexpr double kQuiet_dB = -60.0;  // below this the ratio of two levels says nothing
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

double energy(float* const* channels, size_t count, int frames) {
  double sum = 0;
  for (size_t ch = 0; ch < count; ++ch)
    for (int i = 0; i < frames; ++i) sum += static_cast<double>(channels[ch][i]) * channels[ch][i];
  return sum;
}

}  // namespace

QuietLibrary::QuietLibrary() : saved_(-1) {
  std::fflush(stderr);
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere < 0) return;
  saved_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  if (saved_ >= 0) dup2(nowhere, STDERR_FILENO);
  close(nowhere);
}

QuietLibrary::~QuietLibrary() {
  if (saved_ < 0) return;
  dup2(saved_, STDERR_FILENO);
  close(saved_);
}

Chain make_chain(const host::Record& record, int block) {
  const QuietLibrary quiet;
  Chain chain(AudioPost_Init(record.data(), block), AudioPost_Destroy);
  if (!chain) throw std::runtime_error("the chain cannot be created from this tuning");
  return chain;
}

// ---- Stages --------------------------------------------------------------------------------------------------
template <auto Process, class State>
void Stages::add(Flag flag, const std::shared_ptr<State>& effect) {
  stages_.push_back({flag, effect, [](void* state, float** in, float** out, int n) {
                       return Process(static_cast<State*>(state), in, out, n);
                     }});
}

Stages::Stages(const host::Record& record, int block) : block_(block) {
  const QuietLibrary quiet;
  const int rate = host::field_as_int(record, AUDIOPOST_SAMPLE_RATE),
            bits = host::field_as_int(record, AUDIOPOST_BIT_RATE);
  const int link = host::field_as_int(record, AUDIOPOST_CHANNEL_LINK),
            count = host::field_as_int(record, AUDIOPOST_CHANNELS);
  if (count < 1 || count > 2) throw std::runtime_error("mono and stereo only");
  const auto section = [&](size_t index) { return record.data() + index; };
  const auto own = [](auto* effect, auto destroy) {
    if (!effect) throw std::runtime_error("an effect cannot be created from this tuning");
    return std::shared_ptr<std::remove_pointer_t<decltype(effect)>>(effect, destroy);
  };
  for (int ch = 0; ch < count; ++ch)
    gains_.push_back(powf(10.0f, *section(AUDIOPOST_GAIN_SECTION +
                                          (link ? 0 : AUDIOPOST_GAIN_STRIDE * static_cast<size_t>(ch))) /
                                     20.0f));
  buffers_.assign(static_cast<size_t>(count), std::vector<float>(static_cast<size_t>(block)));
  for (auto& buffer : buffers_) channels_.push_back(buffer.data());

  if (runs(record, kAutoGain))
    add<AutoGain_Process>(
        kAutoGain,
        own(AutoGain_Init(section(AUDIOPOST_AUTOGAIN_SECTION), bits, rate, count, block), AutoGain_Destroy));
  if (runs(record, kBassEnhancer))
    add<BassEnhancer_Process>(kBassEnhancer,
                              own(BassEnhancer_Init(section(AUDIOPOST_BASS_SECTION), bits, rate, count, link),
                                  BassEnhancer_Destroy));
  if (runs(record, kExciter))
    add<Exciter_Process>(
        kExciter,
        own(Exciter_Init(section(AUDIOPOST_EXCITER_SECTION), bits, rate, count, link), Exciter_Destroy));
  if (runs(record, kDeEsser))
    add<DeEsser_Process>(kDeEsser,
                         own(DeEsser_Init(section(AUDIOPOST_DEESSER_SECTION), bits, rate, count, block, link),
                             DeEsser_Destroy));
  if (runs(record, kEq10))
    add<EQ10_Process>(
        kEq10, own(EQ10_Init(section(AUDIOPOST_EQ10_SECTION), bits, rate, count, block, link), EQ10_Destroy));
  if (runs(record, kMultiBandDrc))
    add<MultiBandDRC_Process>(kMultiBandDrc,
                              own(MultiBandDRC_Init(section(AUDIOPOST_DRC_SECTION), bits, rate, count, link),
                                  MultiBandDRC_Destroy));
  if (runs(record, kAgc) || runs(record, kMaximizer)) {  // two modes of one effect
    const auto peak =
        own(Maximizer_Init(section(AUDIOPOST_MAXIMIZER_SECTION), bits, rate, count, block, link),
            Maximizer_Destroy);
    if (runs(record, kAgc)) add<Agc_Process>(kAgc, peak);
    if (runs(record, kMaximizer)) add<Maximizer_Process>(kMaximizer, peak);
  }
}

void Stages::process(const int16_t* pcm, const Listener& after) {
  const size_t count = channels_.size();
  for (size_t ch = 0; ch < count; ++ch)
    for (size_t i = 0; i < static_cast<size_t>(block_); ++i)
      buffers_[ch][i] = static_cast<float>(pcm[i * count + ch]) * gains_[ch];
  after(kInput, channels_.data());
  for (const Stage& stage : stages_) {
    stage.process(stage.effect.get(), channels_.data(), channels_.data(), block_);
    after(stage.flag, channels_.data());
  }
}

// ---- Gains ---------------------------------------------------------------------------------------------------
double StageGain::lowest() const {
  double low = kNone;
  for (const double g : series) low = std::fmin(low, g);  // of a number and NaN, the number
  return low;
}

double StageGain::highest() const {
  double high = kNone;
  for (const double g : series) high = std::fmax(high, g);
  return high;
}

double StageGain::mean() const {
  double sum = 0;
  int count = 0;
  for (const double g : series)
    if (!std::isnan(g)) sum += g, ++count;
  return count ? sum / count : kNone;
}

GainTrace::GainTrace(const host::Record& record, int block)
    : stages_(record, block), block_(block), opening_dB_(-std::numeric_limits<double>::infinity()) {
  bound_ = host::field_as_int(record, AUDIOPOST_BIT_RATE) == 16 ? 32767.0 : full_scale(record);
  for (const auto& [flag, name] : {std::pair(kAutoGain, "auto gain"), std::pair(kMultiBandDrc, "compressor"),
                                   std::pair(kAgc, "AGC"), std::pair(kMaximizer, "limiter")})
    if (runs(record, flag)) gains_.push_back({flag, name, {}});
}

// A new limiter starts from gain 0, which is no limiting. Its gain only rises from block to block, whatever the sound,
// until it has arrived or has to give way to a peak.
bool GainTrace::opens(double limiter_dB) {
  if (std::isnan(limiter_dB)) return false;
  const bool rises = limiter_dB > opening_dB_ + 0.001;
  opening_dB_ = rises ? limiter_dB : std::numeric_limits<double>::infinity();
  return rises;
}

void GainTrace::add(const int16_t* pcm) {
  const size_t count = stages_.output().size();
  double before = 0;
  const double quiet =
      std::pow(10.0, kQuiet_dB / 10.0) * 32768.0 * 32768.0 * block_ * static_cast<double>(count);
  stages_.process(pcm, [&](Flag flag, float* const* channels) {
    const double now = energy(channels, count, block_);
    for (StageGain& gain : gains_) {
      if (gain.flag != flag) continue;
      const double dB = before > quiet ? 10.0 * std::log10(now / before) : kNone;
      gain.series.push_back(flag == kMaximizer && opens(dB) ? kNone : dB);
    }
    before = now;
  });
  for (const auto& channel : stages_.output())
    clipped_ += std::count_if(channel.begin(), channel.end(),
                              [&](float y) { return y >= bound_ + 1.0 || y <= -bound_ - 2.0; });
}

}  // namespace analysis
