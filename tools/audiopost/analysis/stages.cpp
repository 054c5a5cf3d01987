#include "analysis/stages.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>

#include "host/design.h"

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
Stages::Stages(const host::Record& record, int block) : block_(block) {
  const QuietLibrary quiet;
  const auto header = [&](int index) { return host::field_as_int(record, index); };
  const int rate = header(AUDIOPOST_SAMPLE_RATE), bits = header(AUDIOPOST_BIT_RATE),
            link = header(AUDIOPOST_CHANNEL_LINK), count = header(AUDIOPOST_CHANNELS);
  if (count < 1 || count > 2) throw std::runtime_error("mono and stereo only");
  for (int ch = 0; ch < count; ++ch)
    gains_.push_back(powf(10.0f, *settings(record, AUDIOPOST_EFFECT_CHAIN, ch) / 20.0f));
  buffers_.assign(static_cast<size_t>(count), std::vector<float>(static_cast<size_t>(block)));
  for (auto& buffer : buffers_) channels_.push_back(buffer.data());

  const auto join = [&](audiopost_effect effect, const auto& make) {
    if (host::runs(record, effect)) stages_.emplace_back(effect, make(settings(record, effect, 0)));
  };
  join(AUDIOPOST_EFFECT_AUTO_GAIN, [&](const float* section) {
    return processor<AutoGain_Process>(AutoGain_Init(section, bits, rate, count, block), AutoGain_Destroy);
  });
  join(AUDIOPOST_EFFECT_BASS_ENHANCER, [&](const float* section) {
    return processor<BassEnhancer_Process>(BassEnhancer_Init(section, bits, rate, count, link),
                                           BassEnhancer_Destroy);
  });
  join(AUDIOPOST_EFFECT_EXCITER, [&](const float* section) {
    return processor<Exciter_Process>(Exciter_Init(section, bits, rate, count, link), Exciter_Destroy);
  });
  join(AUDIOPOST_EFFECT_DE_ESSER, [&](const float* section) {
    return processor<DeEsser_Process>(DeEsser_Init(section, bits, rate, count, block, link), DeEsser_Destroy);
  });
  join(AUDIOPOST_EFFECT_EQ10, [&](const float* section) {
    return processor<EQ10_Process>(EQ10_Init(section, bits, rate, count, block, link), EQ10_Destroy);
  });
  join(AUDIOPOST_EFFECT_MULTIBAND_DRC, [&](const float* section) {
    return processor<MultiBandDRC_Process>(MultiBandDRC_Init(section, bits, rate, count, link),
                                           MultiBandDRC_Destroy);
  });
  std::shared_ptr<MaximizerState> peak;  // AGC and limiter are two modes of one effect
  const auto peak_stage = [&](const float* section) {
    if (!peak) peak = own(Maximizer_Init(section, bits, rate, count, block, link), Maximizer_Destroy);
    return peak;
  };
  join(AUDIOPOST_EFFECT_AGC,
       [&](const float* section) { return processor<Agc_Process>(peak_stage(section)); });
  join(AUDIOPOST_EFFECT_MAXIMIZER,
       [&](const float* section) { return processor<Maximizer_Process>(peak_stage(section)); });
}

void Stages::process(const int16_t* pcm, const Listener& after) {
  const size_t count = channels_.size();
  for (size_t ch = 0; ch < count; ++ch)
    for (size_t i = 0; i < static_cast<size_t>(block_); ++i)
      buffers_[ch][i] = static_cast<float>(pcm[i * count + ch]) * gains_[ch];
  after(AUDIOPOST_EFFECT_CHAIN, channels_.data());
  for (const auto& [effect, run] : stages_) {
    run(channels_.data(), block_);
    after(effect, channels_.data());
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
  bound_ = host::field_as_int(record, AUDIOPOST_BIT_RATE) == 16 ? 32767.0 : host::full_scale(record);
  for (const auto& [stage, name] :
       {std::pair(AUDIOPOST_EFFECT_AUTO_GAIN, "auto gain"),
        std::pair(AUDIOPOST_EFFECT_MULTIBAND_DRC, "compressor"), std::pair(AUDIOPOST_EFFECT_AGC, "AGC"),
        std::pair(AUDIOPOST_EFFECT_MAXIMIZER, "limiter")})
    if (host::runs(record, stage)) gains_.push_back({stage, name, {}});
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
  stages_.process(pcm, [&](audiopost_effect stage, float* const* channels) {
    const double now = energy(channels, count, block_);
    for (StageGain& gain : gains_) {
      if (gain.stage != stage) continue;
      const double dB = before > quiet ? 10.0 * std::log10(now / before) : kNone;
      gain.series.push_back(stage == AUDIOPOST_EFFECT_MAXIMIZER && opens(dB) ? kNone : dB);
    }
    before = now;
  });
  for (const auto& channel : stages_.output())
    clipped_ += std::count_if(channel.begin(), channel.end(),
                              [&](float y) { return y >= bound_ + 1.0 || y <= -bound_ - 2.0; });
}

}  // namespace analysis
