// All kernels of an instruction set, and the one function through which the chain reaches them.
#pragma once

#include "lanes/levels.h"
#include "lanes/pcm.h"
#include "targets/joined.h"
#include "targets/targets.h"

#if defined(TARGET)
namespace TARGET {
namespace {

using lanes::Block;
using lanes::Kind;

// ---- One kind by itself ----------------------------------------------------------------------------
template <class JobOfKind>
void run_alone(void* job, int n, [[maybe_unused]] lanes::Scratch& scratch) {
#if defined(LANES)
  in_lanes(*static_cast<JobOfKind*>(job), n, scratch);
#else
  plain(*static_cast<JobOfKind*>(job), n);
#endif
}

struct Alone {
  const Kind* kind;
  void (*run)(void* job, int n, lanes::Scratch& scratch);
};
const Alone kAlone[] = {
    {&loudness::kMeterKind, run_alone<MeterJob>}, {&tone::kBassKind, run_alone<BassJob>},
    {&tone::kExciterKind, run_alone<ExciterJob>}, {&tone::kDeEsserKind, run_alone<DeEsserJob>},
    {&tone::kCascadeKind, run_alone<CascadeJob>}, {&dynamics::kMultibandKind, run_alone<MultibandJob>},
};

void run_by_itself(const Block::Waiting& one, Block& block) {
  for (const Alone& alone : kAlone)
    if (alone.kind == one.kind) alone.run(one.job, block.frames, block.scratch);
}

// ---- Neighbours that share a loop ------------------------------------------------------------------
// The longest that matches wins. `run` declines where the jobs don't go together; a meter beside them that it takes along
// it makes null.
struct Sequence {
  const Kind* kinds[3];
  int length;
  bool (*run)(const Block::Waiting* jobs, MeterJob*& beside, int n, lanes::Scratch& scratch);
};

#if defined(LANES)
constexpr int kNone = -1;
template <class JobOfKind>
const JobOfKind* job_at(const Block::Waiting* jobs, int at) {
  return at == kNone ? nullptr : static_cast<const JobOfKind*>(jobs[at].job);
}
template <int kBass, int kExciter, int kDeEsser>
bool run_tone_at(const Block::Waiting* w, MeterJob*& beside, int n, lanes::Scratch& scratch) {
  return run_tone(job_at<BassJob>(w, kBass), job_at<ExciterJob>(w, kExciter), job_at<DeEsserJob>(w, kDeEsser),
                  beside, n, scratch);
}
bool run_cascade_multiband_at(const Block::Waiting* w, MeterJob*& beside, int n, lanes::Scratch& scratch) {
  return run_cascade_multiband(*job_at<CascadeJob>(w, 0), *job_at<MultibandJob>(w, 1), beside, n, scratch);
}

using tone::kBassKind, tone::kExciterKind, tone::kDeEsserKind, tone::kCascadeKind, dynamics::kMultibandKind;
const Sequence kSequences[] = {
    {{&kBassKind, &kExciterKind, &kDeEsserKind}, 3, run_tone_at<0, 1, 2>},
    {{&kBassKind, &kExciterKind}, 2, run_tone_at<0, 1, kNone>},
    {{&kBassKind, &kDeEsserKind}, 2, run_tone_at<0, kNone, 1>},
    {{&kExciterKind, &kDeEsserKind}, 2, run_tone_at<kNone, 0, 1>},
    {{&kCascadeKind, &kMultibandKind}, 2, run_cascade_multiband_at},
};

bool begins_with(const Block::Waiting* jobs, int count, const Sequence& s) {
  for (int i = 0; i < s.length; ++i)
    if (i >= count || jobs[i].kind != s.kinds[i]) return false;
  return true;
}
#endif

// Runs the first of `count` jobs, with those after it that may share its loop; how many that were.
int run_first(const Block::Waiting* jobs, [[maybe_unused]] int count, [[maybe_unused]] MeterJob*& beside,
              Block& block) {
#if defined(LANES)
  const Sequence* longest = nullptr;
  for (const Sequence& s : kSequences)
    if (begins_with(jobs, count, s) && (!longest || s.length > longest->length)) longest = &s;
  if (longest && longest->run(jobs, beside, block.frames, block.scratch)) return longest->length;
#endif
  run_by_itself(jobs[0], block);
  return 1;
}

// The chain has one meter; what else only reads runs when all does.
void run(Block& block, bool all) {
  Block::Waiting changing[Block::kMostWaiting], reading[Block::kMostWaiting];
  int changes = 0, reads = 0;
  for (int i = 0; i < block.count; ++i)
    if (block.waiting[i].kind->only_reads)
      reading[reads++] = block.waiting[i];
    else
      changing[changes++] = block.waiting[i];
  MeterJob* beside = reads == 1 && reading[0].kind == &loudness::kMeterKind
                         ? static_cast<MeterJob*>(reading[0].job)
                         : nullptr;
  const bool offered = beside != nullptr;
  for (int at = 0; at < changes;) at += run_first(changing + at, changes - at, beside, block);
  if (offered && !beside) reads = 0;
  block.count = 0;
  for (int i = 0; i < reads; ++i) {
    if (all)
      run_by_itself(reading[i], block);
    else
      block.waiting[block.count++] = reading[i];
  }
}

// ---- What the table has of it ----------------------------------------------------------------------
constexpr lanes::Target entry(const char* name, bool (*runs_here)()) {
#if defined(LANES)
  return {name, runs_here, run, lanes_peak, lanes_mean_squares, lanes_ramp, lanes_from_pcm, lanes_to_pcm};
#else
  return {name, runs_here, run, plain_peak, plain_mean_squares, plain_ramp, plain_from_pcm, plain_to_pcm};
#endif
}

}  // namespace
}  // namespace TARGET
#endif
