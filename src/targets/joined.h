// Effects that share a loop: one step costs what all its lanes need, but waits only once for the latency of a section.
#pragma once

#include "dynamics/multiband_drc.kernel.h"
#include "loudness/r128_meter.kernel.h"
#include "tone/bass_enhancer.kernel.h"
#include "tone/de_esser.kernel.h"
#include "tone/eq10.kernel.h"
#include "tone/exciter.kernel.h"

#if defined(TARGET) && defined(LANES)

namespace TARGET {
namespace {

// The channels of a job, a single one standing in for both; nulls without a job.
template <class Channel>
void both_channels(const lanes::Job<Channel>* job, const Channel* (&to)[2]) {
  to[0] = job ? &job->channels[0] : nullptr, to[1] = job ? &job->channels[job->count - 1] : nullptr;
}

// ---- Tone effects, and the meter beside them -------------------------------------------------------
// One block of the tone effects that are there, one after another; each takes what the one before it gives out, of which
// only the last is written. The frames are in units of the first one's full scale.
struct ToneBlock {
  const BassChannel* bass[2];
  const ExciterChannel* exciter[2];
  const DeEsserChannel* de_esser[2];
  float* pairs;
  DeEsserFrames made;
  int n;

  ToneBlock(const BassJob* b, const ExciterJob* e, const DeEsserJob* d, int frames, lanes::Scratch& scratch)
      : pairs(scratch.pairs[lanes::Scratch::kBlock]), made(scratch), n(frames) {
    both_channels<BassChannel>(b, bass);
    both_channels<ExciterChannel>(e, exciter);
    both_channels<DeEsserChannel>(d, de_esser);
  }

  // What comes after the bass enhancer: its unit.
  float after_bass() const { return exciter[0] ? 1.0f / exciter[0]->scale : 1.0f; }

  template <class Bass>
  Parts<Bass, ExciterPart> bass_and_exciter() {
    return {Bass(bass, 0, after_bass(), pairs), ExciterPart(exciter, Bass::kLag + 1, pairs)};
  }
  DeEsserPart de_esser_after(int lag) { return DeEsserPart(de_esser, lag + kTurn, n, pairs, made); }

  template <bool kFloor>
  void run_from_bass(MeterFrames* meter) {
    using Bass = BassPart<kFloor>;
    constexpr int kBassLag = Bass::kLag, kBothLag = kBassLag + 1 + ExciterPart::kLag;
    if (!de_esser[0]) return run_part(bass_and_exciter<Bass>(), n);
    if (!exciter[0])
      return run_part(Parts<Bass, DeEsserPart>{Bass(bass, 0, after_bass(), pairs), de_esser_after(kBassLag)},
                      n);
    using All = Parts<Parts<Bass, ExciterPart>, DeEsserPart>;
    const All all{bass_and_exciter<Bass>(), de_esser_after(kBothLag)};
    if (meter)
      run_part(Parts<All, MeterPart>{all, MeterPart(*meter)}, n);
    else
      run_part(all, n);
  }
  // As short passes: the bass enhancer's two, the meter beside the second; then the others, of which one alone would wait
  // for its filters.
  template <bool kFloor>
  void run_bass_passes(MeterFrames* meter) {
    run_bass_first<kFloor>(bass, pairs, made.notched, n);
    const BassLastPart<kFloor> last{bass, BassMix(bass, after_bass()), pairs, made.notched};
    if (!meter) return run_part(last, n);
    run_part(Parts<MeterPart, BassLastPart<kFloor>>{MeterPart(*meter), last}, n);
  }
  template <class Meter>  // so that nothing is made of it where waves run
  void run_passes(Meter* meter) {
    if (bass[0]) bass[0]->floor_highpass ? run_bass_passes<true>(meter) : run_bass_passes<false>(meter);
    if (!exciter[0]) return run_part(DeEsserPart(de_esser, 0, n, pairs, made), n);
    if (!de_esser[0]) return run_part(ExciterPart(exciter, 0, pairs), n);
    run_part(
        Parts<ExciterPart, DeEsserPart>{ExciterPart(exciter, 0, pairs), de_esser_after(ExciterPart::kLag)},
        n);
  }
  void run(MeterFrames* meter) {  // which there is only beside all three
    if constexpr (kShortPasses)
      run_passes(meter);
    else if (bass[0])
      bass[0]->floor_highpass ? run_from_bass<true>(meter) : run_from_bass<false>(meter);
    else
      run_part(
          Parts<ExciterPart, DeEsserPart>{ExciterPart(exciter, 0, pairs), de_esser_after(ExciterPart::kLag)},
          n);
  }
};

// Two or three of them. Takes the meter along where there is one that fits, and says so by making it null.
bool run_tone(const BassJob* bass, const ExciterJob* exciter, const DeEsserJob* de_esser, MeterJob*& meter,
              int n, lanes::Scratch& scratch) {
  const int count = bass ? bass->count : exciter->count;
  const bool alike = (!exciter || exciter->count == count) && (!de_esser || de_esser->count == count);
  if (!alike || n < 1 || n > scratch.frames || count < 1 || (bass && !same_floor(*bass))) return false;
  const float* const in0 = bass ? bass->channels[0].in : exciter->channels[0].in;
  const float* const in1 = bass ? bass->channels[count - 1].in : exciter->channels[count - 1].in;
  ToneBlock block(bass, exciter, de_esser, n, scratch);
  interleave(in0, in1, n, block.pairs, 1.0f / (bass ? bass->channels[0].scale : exciter->channels[0].scale));
  // Beside two of them it would be one more loop to build.
  if (meter && bass && exciter && de_esser && meter->count == count && meter_fits(*meter, n, scratch)) {
    MeterFrames beside(*meter, n, scratch);
    block.run(&beside);
    beside.enter(n);
    meter = nullptr;
  } else {
    block.run(nullptr);
  }
  if (de_esser)
    cross_fade_lanes(*de_esser, block.pairs, block.made, n);
  else
    deinterleave(block.pairs, n, exciter->channels[0].out, count == 2 ? exciter->channels[1].out : nullptr);
  return true;
}

// ---- A cascade and the compressor after it, and the meter beside them ------------------------------
// Two waves in one loop, the second so many steps behind the first: one more than the first's lag where it takes what
// that has finished, which is handed over in memory, and none where they have nothing to do with each other.
template <class First, class Second>
struct Joined {
  First first;
  Second second;
  int lag_of_first;  // in frames
  int behind;

  template <bool kEdge>
  INLINED void step(int t, int n) {
    // Before its first frame and after its last a wave has nothing to do.
    if (!kEdge || t < n + lag_of_first) first.template step<kEdge>(t, n);
    if (!kEdge || t >= behind) second.template step<kEdge>(t - behind, n);
  }
  INLINED void keep(int n) const {
    first.keep(n);
    second.keep(n);
  }
};
// Copies are what the compiler takes apart into registers.
template <class First, class Second>
Joined<First, Second> joined(const First& first, int lag_of_first, int behind, const Second& second) {
  return {first, second, lag_of_first, behind};
}

constexpr int kCascadeRegisters = 3;  // nine to twelve sections

template <bool kFour>
void cascade_multiband_wave(const CascadeChannel* const (&cascade)[2],
                            const MultibandChannel* const (&multiband)[2], float* pairs, float* between,
                            int n, MeterFrames* meter) {
  const CascadeLanes<kCascadeRegisters> first(cascade, 0, cascade[0]->sections);
  const MultibandLanes<kFour> second(multiband);
  auto wave = joined(first.wave(pairs, between), first.lag, first.lag + 1, second.wave(between, pairs));
  const int lag = wave.behind + kMultibandLag;
  if constexpr (kFour)
    if (meter) {
      const MeterPart part(*meter);
      const PartLanes<MeterPart> lanes(part);
      auto both = joined(wave, lag, 0, lanes.wave());
      return run_wave(both, lag, n);
    }
  run_wave(wave, lag, n);
}

bool cascade_multiband_fits(const CascadeJob& cascade, const MultibandJob& multiband, int n,
                            const lanes::Scratch& scratch) {
  const int lanes = 2 * cascade.channels[0].sections;
  if (cascade.count != multiband.count || cascade.count < 1 || n < 1 || n > scratch.frames) return false;
  if (!kShortPasses && (lanes <= (kCascadeRegisters - 1) * kLanes || lanes > kCascadeRegisters * kLanes))
    return false;
  for (int ch = 0; ch < cascade.count; ++ch)
    if (cascade.channels[ch].sections != cascade.channels[0].sections ||
        !multiband_fits(multiband.channels[ch]))
      return false;
  return true;
}

bool run_cascade_multiband(const CascadeJob& cascade, const MultibandJob& multiband, MeterJob*& meter, int n,
                           lanes::Scratch& scratch) {
  if (!cascade_multiband_fits(cascade, multiband, n, scratch)) return false;
  const CascadeChannel* first[2];
  const MultibandChannel* second[2];
  both_channels<CascadeChannel>(&cascade, first);
  both_channels<MultibandChannel>(&multiband, second);
  float *const pairs = scratch.pairs[lanes::Scratch::kBlock], *const between =
                                                                  scratch.pairs[lanes::Scratch::kBetween];
  interleave(first[0]->in, first[1]->in, n, pairs);
  const bool stereo = cascade.count == 2;
  const auto keep_copies = [&](const float* from) {
    deinterleave(from, first[0]->copied, first[0]->copy, stereo ? first[1]->copy : nullptr);
  };
  clear_edges(between, n);
  if constexpr (kShortPasses) {
    run_cascade(first, pairs, n);
    keep_copies(pairs);
    four_bands(second) ? run_bands<true>(second, pairs, n, scratch)
                       : run_bands<false>(second, pairs, n, scratch);
  } else if (meter && four_bands(second) && meter->count == cascade.count && meter_fits(*meter, n, scratch)) {
    MeterFrames beside(*meter, n, scratch);
    cascade_multiband_wave<true>(first, second, pairs, between, n, &beside);
    beside.enter(n);
    meter = nullptr;
  } else if (four_bands(second)) {
    cascade_multiband_wave<true>(first, second, pairs, between, n, nullptr);
  } else {
    cascade_multiband_wave<false>(first, second, pairs, between, n, nullptr);
  }
  if (!kShortPasses) keep_copies(between);
  deinterleave(pairs, n, second[0]->out, stereo ? second[1]->out : nullptr);
  return true;
}

}  // namespace
}  // namespace TARGET

#endif
