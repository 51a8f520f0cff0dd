#include "platform/Befristet.h"

#include <memory>
#include <utility>

namespace hallkorb {

bool laufeBefristet(Executor& executor, double sekunden, std::function<void()> arbeit) {
  const std::shared_ptr<Schlaf> ende = executor.schlaf();
  const bool begonnen = executor.starteUnabhaengig([ende, a = std::move(arbeit)]() mutable {
    a();
    a = nullptr;
    ende->wecke();
  });
  return begonnen && ende->warte(sekunden);
}

}  // namespace hallkorb
