// Asks what can be captured, with a time limit and with words for a refusal.
#pragma once

#include <memory>

#include "platform/macos/screen/SckAufrufe.h"
#include "platform/macos/Wartestelle.h"

namespace hallkorb {

// Fills `inhalt`, waiting at `stelle` until `frist`. Any thread.
[[nodiscard]] Ergebnis frageInhalt(SckAufrufe& dienst, bool ohneDesktop,
                                   std::shared_ptr<const Inhalt>& inhalt,
                                   const std::shared_ptr<Wartestelle>& stelle,
                                   Wartestelle::Frist frist);

}  // namespace hallkorb
