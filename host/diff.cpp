#include "host/diff.h"

#include "host/fields.h"

namespace host {

std::vector<Difference> diff(const Record& from, const Record& to) {
  std::vector<Difference> all;
  for (int i = 0; i < AUDIOPOST_PARAM_LENGTH; ++i) {
    const float a = from[static_cast<size_t>(i)], b = to[static_cast<size_t>(i)];
    if (bits_of(a) == bits_of(b)) continue;
    const Place at = place(i);
    Difference d = at.field ? Difference{at.table->where, at.field->name, with_unit(*at.field, a),
                                         with_unit(*at.field, b)}
                            : Difference{"unread", "index " + std::to_string(i), shortest(a), shortest(b)};
    if (d.from == d.to) d.from = hex(a), d.to = hex(b);  // NaNs of different payload
    all.push_back(std::move(d));
  }
  return all;
}

}  // namespace host
