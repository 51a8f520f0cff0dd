#include "platform/Befristet.h"

#include <memory>
#include <utility>

namespace hallkorb {
namespace {

constexpr double LANGE = 1e9;  // seconds

}  // namespace

bool laufeBefristet(Executor& executor, double sekunden, std::function<void()> arbeit) {
  const std::shared_ptr<Schlaf> ende = executor.schlaf();
  const bool begonnen = executor.starteUnabhaengig([ende, a = std::move(arbeit)]() mutable {
    a();
    a = nullptr;
    ende->wecke();
  });
  return begonnen && ende->warte(sekunden);
}

// The work is set before the thread is woken, and not touched from outside afterwards.
struct Bereitschaft::Auftrag {
  std::unique_ptr<Schlaf> beginn;
  std::unique_ptr<Schlaf> ende;
  std::function<void()> arbeit;
};

std::unique_ptr<Bereitschaft> Bereitschaft::neu(Executor& executor) {
  const auto auftrag = std::make_shared<Auftrag>();
  auftrag->beginn = executor.schlaf();
  auftrag->ende = executor.schlaf();
  const bool begonnen = executor.starteUnabhaengig([auftrag] {
    while (!auftrag->beginn->warte(LANGE)) {
    }
    if (auftrag->arbeit) auftrag->arbeit();
    auftrag->arbeit = nullptr;
    auftrag->ende->wecke();
  });
  if (!begonnen) return nullptr;
  return std::unique_ptr<Bereitschaft>(new Bereitschaft(auftrag));
}

Bereitschaft::Bereitschaft(std::shared_ptr<Auftrag> auftrag) : auftrag_(std::move(auftrag)) {}

Bereitschaft::~Bereitschaft() {
  auftrag_->beginn->wecke();
}

bool Bereitschaft::laufe(double sekunden, std::function<void()> arbeit) {
  auftrag_->arbeit = std::move(arbeit);
  auftrag_->beginn->wecke();
  return auftrag_->ende->warte(sekunden);
}

}  // namespace hallkorb
