// The text form of tuning records.
#include <random>

#include "host/fields.h"
#include "host/tuning.h"
#include "support.h"

using host::Record;

namespace {

bool same(const Record& a, const Record& b) { return std::memcmp(a.data(), b.data(), sizeof a) == 0; }

}  // namespace

TEST_CASE("a record of any bits comes back from its text unchanged") {
  std::mt19937 random(1);
  for (int round = 0; round < 300; ++round) {
    Record record;
    for (float& value : record) value = host::float_of(static_cast<uint32_t>(random()));
    CHECK(same(host::from_text(host::to_text(record), "text"), record));
  }
}
