// The place at which the operations on one device wait: for answers of asynchronous calls, for
// events, for the stop.
//
// The capture services answer on queues of their own, sometimes late and sometimes never, and a
// stop may come in the middle. So whatever is waited for is kept behind one lock, every wait has a
// time limit, and one call reaches them all.
//
// Any thread.
#pragma once

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "base/Fehler.h"

namespace hallkorb {

// Whether an abort ends a wait. Taking a device down must not be cut short by the stop that asks
// for it.
enum class Abbrechbar { ja, nein };

class Wartestelle {
 public:
  using Uhr = std::chrono::steady_clock;
  using Frist = Uhr::time_point;

  Wartestelle() = default;
  virtual ~Wartestelle() = default;
  Wartestelle(const Wartestelle&) = delete;
  Wartestelle& operator=(const Wartestelle&) = delete;

  // Ends all waits that may be aborted, present and future ones.
  void brichAb() {
    aendere([this] { abgebrochen_ = true; });
  }
  [[nodiscard]] bool abgebrochen() const {
    const std::lock_guard halter(lock_);
    return abgebrochen_;
  }

  // Runs `aenderung` under the lock and lets all who wait look again.
  template <class Aenderung>
  void aendere(Aenderung&& aenderung) {
    {
      const std::lock_guard halter(lock_);
      std::forward<Aenderung>(aenderung)();
    }
    neues_.notify_all();
  }

  // Waits until `fertig`, which runs under the lock, returns true, until `frist`, or until the
  // abort. Returns the last result of `fertig`.
  template <class Fertig>
  bool warte(Frist frist, Fertig fertig, Abbrechbar abbrechbar = Abbrechbar::ja) {
    std::unique_lock halter(lock_);
    const auto zuEnde = [&] { return fertig() || (abbrechbar == Abbrechbar::ja && abgebrochen_); };
    bool zeit = true;
    while (!zuEnde() && zeit)
      zeit = schlafe(halter, frist);
    return fertig();
  }

 protected:
  // Sleeps until something has changed, or until `frist`; then false. Tests replace it to control
  // the time.
  virtual bool schlafe(std::unique_lock<std::mutex>& halter, Frist frist) {
    return neues_.wait_until(halter, frist) == std::cv_status::no_timeout;
  }

 private:
  mutable std::mutex lock_;
  std::condition_variable neues_;
  bool abgebrochen_ = false;
};

// The answer of one asynchronous call. The first one counts. One that comes when nobody waits any
// more is kept in a state that the call itself keeps alive.
template <class Wert>
class Antwort {
 public:
  explicit Antwort(std::shared_ptr<Wartestelle> stelle)
      : zustand_(std::make_shared<Zustand>(Zustand{std::move(stelle), std::nullopt})) {}

  // To be passed to the asynchronous call; any thread.
  [[nodiscard]] std::function<void(Wert)> empfang() const {
    return [zustand = zustand_](Wert wert) {
      zustand->stelle->aendere([&] {
        if (!zustand->wert) zustand->wert = std::move(wert);
      });
    };
  }

  // The answer; nullopt if it did not come in time.
  [[nodiscard]] std::optional<Wert> warte(Wartestelle::Frist frist,
                                          Abbrechbar abbrechbar = Abbrechbar::ja) {
    std::optional<Wert> wert;
    zustand_->stelle->warte(
        frist,
        [&] {
          if (!wert && zustand_->wert) wert = zustand_->wert;
          return wert.has_value();
        },
        abbrechbar);
    return wert;
  }

 private:
  struct Zustand {
    std::shared_ptr<Wartestelle> stelle;
    std::optional<Wert> wert;  // under the lock of `stelle`
  };
  std::shared_ptr<Zustand> zustand_;
};

// Why an answer did not come: a stop, or the time limit. `wer` should have answered.
[[nodiscard]] inline Fehler ohneAntwort(const Wartestelle& stelle, const std::string& wer) {
  if (stelle.abgebrochen()) return {"posix", ECANCELED, "der Start wurde abgebrochen"};
  return {"posix", ETIMEDOUT, wer + " antwortet nicht"};
}

// For calls that answer with an error or with none.
[[nodiscard]] inline Ergebnis warteAuf(Antwort<Ergebnis>& antwort, const Wartestelle& stelle,
                                       Wartestelle::Frist frist, const std::string& wer) {
  if (std::optional<Ergebnis> wert = antwort.warte(frist)) return std::move(*wert);
  return ohneAntwort(stelle, wer);
}

}  // namespace hallkorb
