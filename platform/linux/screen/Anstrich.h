// Whether a window's new surface has been painted.
//
// With each new size, and each time it is mapped, a window is empty until its program draws. Many
// programs draw in steps: a browser first draws its frame around the page as it has it, and the
// page once another process has laid it out in its new size. Nothing says which drawing is the last
// one, so a surface counts as painted when no other drawing has followed for a while. A page in
// which something moves never comes to rest, and some programs draw nothing at all: neither is
// waited for beyond the limits below.
//
// Times are those of the caller's clock. One thread at a time.
#pragma once

#include <chrono>
#include <optional>
#include <utility>

namespace hallkorb {

struct AnstrichFristen {
  std::chrono::milliseconds ungemalt{250};     // for the first drawing
  std::chrono::milliseconds ruhe{100};         // without a drawing, after one
  std::chrono::milliseconds malerei{500};      // from the first drawing on
  std::chrono::milliseconds laengstens{1000};  // in all, if it is emptied again and again
};

class Anstrich {
 public:
  using Uhr = std::chrono::steady_clock;

  explicit Anstrich(const AnstrichFristen& fristen) : fristen_(fristen) {}

  // The surface is a new one, or the server has emptied it.
  void beginne(Uhr::time_point jetzt);
  // The program has drawn.
  void gemalt(Uhr::time_point jetzt);
  // A picture is about to be read, or the surface was never to be seen.
  void beende() { gelesenSeit_ = std::exchange(offenSeit_, std::nullopt); }
  // The picture was read. Whether to drop it and go on waiting, since the surface has become a new
  // one meanwhile; a window that is being resized would otherwise never be seen.
  [[nodiscard]] bool wartetWeiter(Uhr::time_point jetzt);

  // Whether the present surface is in no picture yet.
  [[nodiscard]] bool offen() const { return offenSeit_.has_value(); }
  // When it counts as painted.
  [[nodiscard]] Uhr::time_point fertigAb() const { return fertigAb_; }

 private:
  const AnstrichFristen fristen_;
  std::optional<Uhr::time_point> offenSeit_;
  std::optional<Uhr::time_point> gelesenSeit_;  // the same of the surface that was read
  std::optional<Uhr::time_point> gemaltSeit_;
  Uhr::time_point fertigAb_{};
};

}  // namespace hallkorb
