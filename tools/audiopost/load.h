// What a command is given: its tuning, found and judged, and files that it must not write over.
#pragma once

#include <string>
#include <vector>

#include "app.h"
#include "host/check.h"

namespace audiopost {

// Frames in a block, as process_file takes them, where nothing asks for another.
constexpr int kBlock = 1024;

struct Tuning {
  std::string name;  // of its file or preset
  std::string file;  // "" for a preset
  host::Record record;
};

// The preset of that name, whatever files there are, or else a file of either form; "-" is standard input. Throws
// FileError, and Failure for no name at all.
Tuning load_tuning(const std::string& name);

// Why a record is refused, with the name of its file.
std::string refusal_text(const Tuning& tuning, const host::Finding& finding, int block);

// Throws Failure when the record is refused; with `unstable_too` only when there would be no chain, or soon no process.
// Gives the warnings otherwise.
std::vector<std::string> require_usable(const Tuning& tuning, int block, bool unstable_too);

// Throws Failure for a record that test signals cannot be made for: more than two channels, a rate beyond reason.
void require_measurable(const Tuning& tuning);

// Throws Failure when writing to `out` would take away a file that is read from; `what` says which it is.
void require_other_file(const std::string& out, const std::string& read, const char* what);

// The longest block, up to `most` frames, that auto gain's step at the record's rate allows.
int longest_block(const host::Record& record, int most);

void print_warnings(const std::vector<std::string>& warnings);

}  // namespace audiopost
