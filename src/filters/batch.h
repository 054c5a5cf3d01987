// Effects that wait for each other so that several of them run in one loop over the block: a loop with a recursion costs
// its latency, whatever it carries.
#pragma once

#include "filters/kernels/kernels.h"

namespace filters {

// One block of one or two channels, in place. Effects join in processing order; run() computes what has joined, with
// the results that one effect after another would give. Whoever reads samples when it joins calls run() first. The
// meter changes none, so it may wait for a loop with lanes to spare, until finish().
class Batch {
 public:
  // cppcheck-suppress uninitMemberVar  ; kept_ is written before it is read, and long
  explicit Batch(int n) : n_(n) {}
  // Only reads its channels, as they are now; false where the block is too long to keep. `metered` hears where the ring
  // has got to.
  bool join(const MeterChannel* channels, int count, const MeterRing& ring,
            void (*metered)(void* owner, const MeterRing& ring), void* owner);
  void join(const BassChannel* channels, int count);
  void join(const ExciterChannel* channels, int count);
  void join(const DeEsserChannel* channels, int count,
            float (*target)(void* owner, int channel, float energy), void* owner);
  void join(const CascadeChannel* channels, float* const* copies,
            int count);  // copies[ch], n long, of its output
  void join(const MultibandChannel* channels, int count);
  void run();
  void finish();

 private:
  void end_meter();
  void run_tone();
  void run_cascade_and_multiband();

  template <class Channel>
  struct Part {
    Channel channels[2];
    int count = 0;
    const Channel* get() const { return count > 0 ? channels : nullptr; }
    void take(const Channel* from, int how_many) {
      for (count = 0; count < how_many; ++count) channels[count] = from[count];
    }
  };
  static constexpr int kMostKept = 1024;
  const int n_;
  Part<MeterChannel> meter_;
  MeterRing ring_{};
  void (*metered_)(void*, const MeterRing&) = nullptr;
  void* meter_owner_ = nullptr;
  float kept_[2][kMostKept];  // the meter's input: the effect behind it works in place
  Part<BassChannel> bass_;
  Part<ExciterChannel> exciter_;
  Part<DeEsserChannel> de_esser_;
  float (*target_)(void*, int, float) = nullptr;
  void* owner_ = nullptr;
  Part<CascadeChannel> cascade_;
  float* copies_[2] = {};
  Part<MultibandChannel> multiband_;
};

}  // namespace filters
