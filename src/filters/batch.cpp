#include "filters/batch.h"

#include <algorithm>

namespace filters {

bool Batch::join(const MeterChannel* channels, int count, const MeterRing& ring,
                 void (*metered)(void*, const MeterRing&), void* owner) {
  if (n_ < 1 || n_ > kMostKept) return false;
  meter_.take(channels, count);
  for (int ch = 0; ch < count; ++ch)
    meter_.channels[ch].in = std::copy_n(channels[ch].in, n_, kept_[ch]) - n_;
  ring_ = ring, metered_ = metered, meter_owner_ = owner;
  return true;
}

void Batch::join(const BassChannel* channels, int count) { bass_.take(channels, count); }

void Batch::join(const ExciterChannel* channels, int count) { exciter_.take(channels, count); }

void Batch::join(const DeEsserChannel* channels, int count, float (*target)(void*, int, float), void* owner) {
  de_esser_.take(channels, count);
  target_ = target, owner_ = owner;
}

void Batch::join(const CascadeChannel* channels, float* const* copies, int count) {
  cascade_.take(channels, count);
  std::copy_n(copies, count, copies_);
}

void Batch::join(const MultibandChannel* channels, int count) { multiband_.take(channels, count); }

void Batch::run() {
  run_tone();
  run_cascade_and_multiband();
}

void Batch::finish() {
  run();
  if (meter_.count == 0) return;
  kernels().meter(meter_.channels, meter_.count, n_, ring_);
  end_meter();
}

void Batch::end_meter() {
  metered_(meter_owner_, ring_);
  meter_.count = 0;
}

void Batch::run_tone() {
  const Kernels& k = kernels();
  const int counts[] = {bass_.count, exciter_.count, de_esser_.count};
  const int most = *std::max_element(counts, counts + 3);
  const auto alike = std::count(counts, counts + 3, most), off = std::count(counts, counts + 3, 0);
  if (most > 0 && alike > 1 && alike + off == 3) {
    const bool metering = off == 0 && meter_.count == most;
    k.tone(bass_.get(), exciter_.get(), de_esser_.get(), most, n_, target_, owner_,
           metering ? meter_.channels : nullptr, &ring_);
    if (metering) end_meter();
  } else {
    if (bass_.count > 0) k.bass(bass_.channels, bass_.count, n_);
    if (exciter_.count > 0) k.exciter(exciter_.channels, exciter_.count, n_);
    if (de_esser_.count > 0) k.de_esser(de_esser_.channels, de_esser_.count, n_, target_, owner_);
  }
  bass_.count = exciter_.count = de_esser_.count = 0;
}

void Batch::run_cascade_and_multiband() {
  const Kernels& k = kernels();
  const int count = cascade_.count;
  if (count > 0 && multiband_.count == count) {
    const bool metering = meter_.count == count;
    k.cascade_multiband(cascade_.channels, copies_, multiband_.channels, count, n_,
                        metering ? meter_.channels : nullptr, &ring_);
    if (metering) end_meter();
  } else {
    if (count > 0) k.cascade(cascade_.channels, count, n_);
    for (int ch = 0; ch < count; ++ch) std::copy_n(cascade_.channels[ch].x, n_, copies_[ch]);
    if (multiband_.count > 0) k.multiband(multiband_.channels, multiband_.count, n_);
  }
  cascade_.count = multiband_.count = 0;
}

}  // namespace filters
