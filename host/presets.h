// The texts of tunings/, as the build embeds them.
#pragma once

#include <vector>

namespace host {

struct PresetText {
  const char* name;
  const char* text;
};
// Defined in a source that the build generates.
const std::vector<PresetText>& preset_texts();

}  // namespace host
