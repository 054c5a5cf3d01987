// The chain by hand: the exported functions one after another, on float buffers.
#pragma once

#include <algorithm>
#include <memory>

#include "full_record.h"
#include "modules.h"

namespace support {

struct ByHand {
  // The effects in `mono`, a bit each, see one channel only.
  ByHand(const Record& r, int channels, int block, int mono = 0,
         std::vector<size_t> modules = {kAutoGain, kBassEnhancer, kExciter, kDeEsser, kEq10, kDrc,
                                        kMaximizer})
      : record(r),
        n(block),
        x(std::vector<Samples>(size_t(channels), Samples(size_t(block)))),
        order(std::move(modules)) {
    for (int m = 0; m < kModules; ++m) {
      const Module& module = kModule[m];
      const Setting setting{16, 48000, mono >> m & 1 ? 1 : channels, n, 0};
      handles.emplace_back(module.init(&record[size_t(module.section)], setting), module.destroy);
    }
  }
  bool on(size_t flag) const { return record[10 + flag] == 1.0f; }
  std::vector<int16_t> process(const std::vector<int16_t>& pcm) {
    const size_t channels = x.data.size();
    for (size_t i = 0; i < pcm.size(); ++i) x.data[i % channels][i / channels] = pcm[i];
    for (const size_t m : order) {
      const Module& module = kModule[m];
      if (m == kEq10) eq_in = x.data;
      if (m == kMaximizer && on(6)) module.second_process(handles[m].get(), x(), x(), n);
      if (on(m == kMaximizer ? 7 : m)) module.process(handles[m].get(), x(), x(), n);
      if (m == kEq10) eq_out = x.data;
    }
    std::vector<int16_t> out;
    for (size_t i = 0; i < pcm.size(); ++i) {
      const float y = x.data[i % channels][i / channels];
      out.push_back(static_cast<int16_t>(y < 32767.0f ? std::max(y, -32768.0f) : 32767.0f));
    }
    return out;
  }
  Record record;
  int n;
  Planar x;
  std::vector<Samples> eq_in, eq_out;
  std::vector<std::shared_ptr<void>> handles;
  std::vector<size_t> order;
};

}  // namespace support
