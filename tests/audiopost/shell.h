// Commands in a directory of their own, and tunings for them.
#pragma once

#include <algorithm>
#include <utility>
#include <vector>

#include "host/files.h"
#include "host/tuning.h"
#include "support.h"

struct Shell : Place {
  // `audiopost` in the command stands for the built program.
  support::Outcome run(const std::string& command) const {
    const std::string script = "cd " + path + "; audiopost() { " AUDIOPOST " \"$@\"; }; " + command;
    return support::in_child(
        [&] { execl("/bin/bash", "bash", "-o", "pipefail", "-c", script.c_str(), nullptr); });
  }
  // Writes a tuning: the preset, but for these runs of values from an index on.
  using Changes = std::vector<std::pair<int, std::vector<float>>>;
  void tuning(const std::string& name, const Changes& changes, const std::string& preset = "flat") const {
    host::Record record = host::preset(preset);
    for (const auto& [from, values] : changes) std::copy(values.begin(), values.end(), record.begin() + from);
    host::save_record(of(name), record);
  }
};
