// The parametric-EQ text that measuring programs, headphone-EQ collections and system-wide equalizers exchange:
//   Preamp: -6.2 dB
//   Filter 1: ON PK Fc 105 Hz Gain -3.1 dB Q 0.70
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/tuning.h"

namespace host {

// Puts a text's filters into EQ10 and its preamp (0 dB where it has none, the sum of several) into the channel gain,
// and turns EQ10 on. The filters are designed for the record's sample rate. What stands below "Channel: L" is for channel
// 0 alone, below "Channel: R" for channel 1, below "Channel: all" for both again.
//   PK, Modal, PEQ  bell, with Q or with BW in octaves
//   LS, HS          shelf; Fc is its corner, where the straight lines of plateau and slope meet
//   LSC, HSC        shelf; Fc is the middle of its slope
//                   Either with Q ("LS Q" and "LSQ" are LS), or its slope as in "LS 6 dB" (dB per octave, 12 being
//                   S = 1), or neither: S = 0.9
//   LP, HP, LPQ, HPQ  low- and high-pass, 12 dB per octave, with Q or without: 1/sqrt(2)
// A shelf's Q becomes the designer's slope, S = 1 / (1 + (1/Q^2 - 2) / (A + 1/A)) with A = 10^(gain/40).
// "Fc 1,250 Hz" is 1250 Hz; any other comma is a decimal one where no point follows.
//  channel  the channel to set, 0 or 1, which unlinks a linked record; -1: all of them, which unlinks it where the text
//           has not the same for both
//  Returns what a tuner has to know, as "file:line: text": filters beyond the tenth, clamped values, filters left out.
//  Throws FileError for lines that are not understood, and where no line is for the channels to set.
std::vector<std::string> import_eq(Record& record, std::string_view text, const std::string& file,
                                   int channel = -1);

// EQ10 of one channel as such text, the channel gain as the preamp; import_eq gives the same response back. Appends to
// `left_out` the bands that the format has no words for: band-passes, and Butterworth filters with boost.
std::string export_eq(const Record& record, int channel, std::vector<std::string>& left_out);

}  // namespace host
