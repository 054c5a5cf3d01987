// When this library was built, in UTC, as the banners print it: SOURCE_DATE_EPOCH or the time of the commit, so that
// the same source gives the same bytes. Defined in a file that the build generates.
#pragma once

namespace common {
extern const char kBuildDate[];  // "May 10 2024"
extern const char kBuildTime[];  // "10:23:41"
}  // namespace common
