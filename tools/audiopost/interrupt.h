// Interrupts that wait until what is half done has been taken away.
#pragma once

#include <csignal>

namespace audiopost {

// While one lives, SIGINT, SIGTERM and SIGHUP are only noted.
class InterruptNoted {
 public:
  InterruptNoted() {
    struct sigaction action = {};
    action.sa_handler = [](int) { came_ = 1; };  // without SA_RESTART: a waiting read returns
    for (int i = 0; i < kCount; ++i) sigaction(kSignals[i], &action, &before_[i]);
  }
  ~InterruptNoted() {
    for (int i = 0; i < kCount; ++i) sigaction(kSignals[i], &before_[i], nullptr);
  }
  InterruptNoted(const InterruptNoted&) = delete;
  InterruptNoted& operator=(const InterruptNoted&) = delete;

  bool came() const { return came_ != 0; }

 private:
  static constexpr int kCount = 3;
  static constexpr int kSignals[kCount] = {SIGINT, SIGTERM, SIGHUP};
  inline static volatile std::sig_atomic_t came_ = 0;
  struct sigaction before_[kCount];
};

}  // namespace audiopost
