// Where the compressor's gain changes, in every kernel row: found without a logarithm, but where the logarithm says.
#include "dynamics/gain_steps.h"

#include "dynamics/multiband_drc.kernel.h"
#include "filters/biquad.h"
#include "internal/run_job.h"
#include "support.h"

using namespace support;

namespace {

constexpr float kFullScaleLog10 = 4.51545f;

// Two bands, of which the first is the input and the second nothing; without times the follower is the sample's size.
struct Compressor {
  explicit Compressor(float noise_threshold) {
    dynamics::build_compressor_table({noise_threshold, 0, 0, 6, 6}, 0, table, start, scale);
    dynamics::find_gain_steps(table, start, scale, kFullScaleLog10, 0.5f, steps[0]);
    edges[0].coeffs[0].b0 = edges[0].coeffs[1].b0 = 1;
  }
  Samples run(const lanes::Target& kernels, Samples x) {
    dynamics::MultibandJob job{{}, 1};
    dynamics::MultibandChannel& channel = job.channels[0];
    channel.bands = channel.summed = 2, channel.band_scale = 0.5f, channel.full_scale_log10 = kFullScaleLog10;
    channel.in = channel.out = x.data();
    for (size_t b = 0; b < 2; ++b) {
      dynamics::MultibandBand& band = channel.band[b];
      band.path[0] = &edges[b], band.gain = 1, band.compressed = b == 0, band.table = table.data();
      band.table_start = start, band.table_inv_step = scale, band.steps = &steps[b];
      band.envelope = &envelopes[b], band.value = &values[b];
    }
    run_job(kernels, dynamics::kMultibandKind, &job, int(x.size()));
    return x;
  }
  dynamics::GainTable table;
  float start = 0, scale = 0, envelopes[2] = {}, values[2] = {};
  dynamics::GainSteps steps[2] = {};
  filters::BiquadPair edges[2] = {};
};

}  // namespace

TEST_CASE("every kernel row changes a gain at the very follower at which the table's next entry begins") {
  const common::FlushDenormals flush;
  for (float noise_threshold : {-70.0f, -20.0f, -5.0f, -3.5f, -1.0f}) {  // steps of 0.37 dB down to 0.025 dB
    Compressor plain(noise_threshold);
    Samples x;
    for (int stride : {1, 2, 3, 200, -1, -2, -3})
      for (int k = stride > 0 ? 0 : 200; k >= 0 && k <= 200; k += stride) {
        const double dB = double(plain.start) + k / double(plain.scale);
        // Around the middle between two entries, where the nearer one changes.
        const double middle =
            std::pow(10, (dB - 0.5 / double(plain.scale)) / 20 + double(kFullScaleLog10)) - 1;
        float at = float(middle);
        for (int i = 0; i < 12; ++i) at = std::nextafterf(at, 0);
        for (int i = 0; i < 24; ++i) x.push_back(at = std::nextafterf(at, 1e9f));
        if (plain.steps[0].usable)
          for (float exact : {plain.steps[0].begin[k], std::nextafterf(plain.steps[0].begin[k], 0)})
            x.push_back(exact);
      }
    const Samples expected = plain.run(scalar(), x);
    CAPTURE(noise_threshold);
    for_each_row([&](const lanes::Target& kernels) {
      CHECK(same_bits(Compressor(noise_threshold).run(kernels, x), expected));
    });
  }
}
