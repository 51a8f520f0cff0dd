// A file descriptor that closes itself, and the wake-up made of one.
#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <utility>

namespace hallkorb {

class Deskriptor {
 public:
  Deskriptor() = default;
  explicit Deskriptor(int fd) : fd_(fd) {}
  Deskriptor(Deskriptor&& anderer) noexcept : fd_(std::exchange(anderer.fd_, -1)) {}
  Deskriptor& operator=(Deskriptor&& anderer) noexcept {
    std::swap(fd_, anderer.fd_);
    return *this;
  }
  ~Deskriptor() {
    if (fd_ >= 0) ::close(fd_);
  }

  // The descriptor, or -1.
  [[nodiscard]] int fd() const { return fd_; }

 private:
  int fd_ = -1;
};

// Wakes one thread that polls fd() for input. Any thread, the device's real-time thread too: the
// descriptor never blocks.
class Wecker {
 public:
  Wecker()
      : ereignis_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
        nummer_(ereignis_.fd() < 0 ? errno : 0) {}

  // The error number if the system has no descriptor left, otherwise 0. Without one nothing is ever
  // woken: the owner must not begin.
  [[nodiscard]] int nummer() const { return nummer_; }

  [[nodiscard]] int fd() const { return ereignis_.fd(); }

  // Fails only when a wake-up is pending already.
  void wecke() const {
    const std::uint64_t eins = 1;
    [[maybe_unused]] const ssize_t n = ::write(fd(), &eins, sizeof eins);
  }

  // Takes all wake-ups that have come so far.
  void leere() const {
    std::uint64_t anzahl = 0;
    [[maybe_unused]] const ssize_t n = ::read(fd(), &anzahl, sizeof anzahl);
  }

 private:
  Deskriptor ereignis_;
  int nummer_;
};

}  // namespace hallkorb
