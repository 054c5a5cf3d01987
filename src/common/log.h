// The library's diagnostics: one line, one write to standard error, so that two chains' lines never mix.
#pragma once

namespace common {

// "LOG (<function>(): ,<line>), <text>". Never called from a Process function, which is real-time code,
// except right before the process ends.
[[gnu::format(printf, 3, 4)]] void log_line(const char* function, int line, const char* format, ...);

// Ends the process with exit status -1: what a host meets where it breaks a rule that cannot be answered
// otherwise. The library's only way out; called after a message that says why.
[[noreturn]] void end_process();

}  // namespace common

// Reports the function it stands in. The text stands whole at its call, so that grep finds what a device
// printed.
#define LOG_LINE(...) common::log_line(__func__, __LINE__, __VA_ARGS__)
// For code that several functions share: `function` is the name to report.
#define LOG_LINE_AS(function, ...) common::log_line(function, __LINE__, __VA_ARGS__)
