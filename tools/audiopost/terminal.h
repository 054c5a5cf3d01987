// The window that a terminal shows.
#pragma once

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace audiopost {

// A terminal that colours text and moves its cursor.
inline bool is_screen(int fd) {
  const char* const term = std::getenv("TERM");
  return isatty(fd) && term && *term && std::string(term) != "dumb";
}

struct WindowSize {
  int columns, lines;
  bool operator!=(const WindowSize& other) const { return columns != other.columns || lines != other.lines; }
};

// As it is now; of what the terminal does not know, 80 x 24.
inline WindowSize window_size(int fd) {
  winsize size{};
  ioctl(fd, TIOCGWINSZ, &size);
  return {size.ws_col ? size.ws_col : 80, size.ws_row ? size.ws_row : 24};
}

}  // namespace audiopost
