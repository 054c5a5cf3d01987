// Interrupts that wait until what is half done has been taken away.
#pragma once

#include <unistd.h>

#include <csignal>

namespace audiopost {

// While one lives, SIGINT, SIGTERM and SIGHUP are only noted. A read that waits for input returns, also one that begins
// to wait just after the signal: an alarm goes on calling it back.
class InterruptNoted {
 public:
  InterruptNoted() {
    struct sigaction action = {};
    action.sa_handler = [](int) {  // without SA_RESTART
      came_ = 1;
      alarm(1);
    };
    for (int i = 0; i < kCount; ++i) sigaction(kSignals[i], &action, &before_[i]);
  }
  ~InterruptNoted() {
    alarm(0);
    for (int i = 0; i < kCount; ++i) sigaction(kSignals[i], &before_[i], nullptr);
  }
  InterruptNoted(const InterruptNoted&) = delete;
  InterruptNoted& operator=(const InterruptNoted&) = delete;

  static bool came() { return came_ != 0; }

 private:
  static constexpr int kCount = 4;
  static constexpr int kSignals[kCount] = {SIGINT, SIGTERM, SIGHUP, SIGALRM};
  inline static volatile std::sig_atomic_t came_ = 0;
  struct sigaction before_[kCount];
};

}  // namespace audiopost
