#include "host/check.h"

#include <algorithm>

namespace host {
namespace {

constexpr size_t kUsual = 16, kSentence = 512;

std::string in_words(const audiopost_finding& finding, int (*words)(const audiopost_finding*, char*, int)) {
  char text[kSentence];
  words(&finding, text, sizeof text);
  return text;
}

}  // namespace

std::vector<Finding> check(const Record& record, int block) {
  std::vector<audiopost_finding> found(kUsual);
  const auto fill = [&] {
    return static_cast<size_t>(
        audiopost_check(record.data(), block, found.data(), static_cast<int>(found.size())));
  };
  const size_t count = fill();
  const bool more = count > found.size();
  found.resize(count);
  if (more) fill();
  std::vector<Finding> findings;
  for (const audiopost_finding& f : found) {
    const char* const message = audiopost_check_message(&f);
    findings.push_back({static_cast<Severity>(f.severity), in_words(f, audiopost_check_where),
                        in_words(f, audiopost_check_reason), message ? message : "", f});
  }
  return findings;
}

bool unusable(const std::vector<Finding>& findings) {
  return std::any_of(findings.begin(), findings.end(),
                     [](const Finding& f) { return f.severity == Severity::fatal; });
}

const Finding* refusal(const std::vector<Finding>& findings) {
  const auto first =
      std::find_if(findings.begin(), findings.end(), [](const Finding& f) { return f.refused(); });
  return first == findings.end() ? nullptr : &*first;
}

}  // namespace host
