// Streams of any block size through a chain of one.
#include "host/block_adapter.h"

#include "host/tuning.h"
#include "support.h"

namespace {

constexpr int kBlock = 256, kChannels = 2;
using Pcm = std::vector<int16_t>;

support::Chain speech() { return support::chain_of(host::preset("speech").data(), kBlock); }

// The input padded to whole blocks with silence, processed and cut: what every way of feeding must give.
Pcm expected(Pcm in) {
  const size_t length = in.size();
  in.resize((length / kChannels + kBlock - 1) / kBlock * kBlock * kChannels);
  Pcm out = support::through_chain(speech().get(), in, kChannels, kBlock);
  out.resize(length);
  return out;
}

}  // namespace

TEST_CASE("files of any length pushed in pieces of any size come out as long and the same") {
  for (int frames : {0, 1, 255, 256, 257, 5000})
    for (int piece : {1, 100, 256, 1000, 5000}) {
      CAPTURES(frames, piece);
      const Pcm in = support::noise_pcm(frames * kChannels);
      const support::Chain chain = speech();
      host::BlockAdapter adapter(chain.get(), kChannels, kBlock);
      Pcm out;
      for (int at = 0; at < frames; at += piece)
        adapter.push(in.data() + at * kChannels, std::min(piece, frames - at), out);
      CHECK(adapter.pending() == frames % kBlock);
      adapter.finish(out);
      CHECK(out == expected(in));
    }
}

TEST_CASE("a live stream comes out one block late, in place and in pieces of any size") {
  const Pcm in = support::noise_pcm(6000 * kChannels);
  Pcm late(kBlock * kChannels);  // silence, then the processed stream
  const Pcm processed = expected(in);
  late.insert(late.end(), processed.begin(), processed.end());
  for (int piece : {1, 64, 255, 256, 700}) {
    CAPTURE(piece);
    const support::Chain chain = speech();
    host::BlockAdapter adapter(chain.get(), kChannels, kBlock);
    CHECK(adapter.latency() == kBlock);
    Pcm stream = in;
    for (int at = 0; at < 6000; at += piece) {
      int16_t* const here = stream.data() + at * kChannels;
      adapter.process(here, here, std::min(piece, 6000 - at));
    }
    CHECK(stream == Pcm(late.begin(), late.begin() + 6000 * kChannels));
  }
}
