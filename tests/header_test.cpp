// The public header first and alone, as a C++ host includes it.
#include "zelkaudio_effect_eqdrc.h"

#include "support.h"

extern "C" int header_used_from_c(void);

TEST_CASE("a C host and a C++ host use the same header") { CHECK(header_used_from_c() == 1); }
