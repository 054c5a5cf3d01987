// A tuning made to suit the stream that it is to run over.
#pragma once

#include <string>
#include <vector>

#include "audio_file.h"
#include "load.h"

namespace audiopost {

struct Suited {
  int block;                                 // frames that the chain is to be given at a time
  std::vector<std::string> notes, warnings;  // what there is to say; warnings for those who want quiet, too

  void print(bool quiet = false) const;
};

// Sets the record's sample rate and channel count to the stream's. Where the rate is another, filters whose frequency
// it does not reach are turned off, and edges of the compressor's bands moved down. A `block` of 0 stands for kBlock or
// the longest that auto gain allows. Throws Failure as require_usable does.
Suited suit_to_stream(Tuning& tuning, const AudioInput& stream, int block, bool unstable_too = false);

}  // namespace audiopost
