// A file of a recorded folder, opened for reading at any place.
//
// Folders come from anywhere: a name may lead to a pipe on which reading never returns, or by a
// link to a file outside the folder that a repair would then copy. So only regular files are
// opened, and no links.
//
// Positions are bytes. Movable; one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "base/Dateien.h"

namespace hallkorb {

class Lesedatei {
 public:
  // nullopt if there is no regular file at the path, or if it cannot be opened. `dateien` must
  // outlive the result.
  [[nodiscard]] static std::optional<Lesedatei> oeffne(const std::string& pfad,
                                                       Dateien& dateien = posixDateien());
  Lesedatei(Lesedatei&& andere) noexcept;
  Lesedatei& operator=(Lesedatei&&) = delete;
  Lesedatei(const Lesedatei&) = delete;
  Lesedatei& operator=(const Lesedatei&) = delete;
  ~Lesedatei();

  // The length when it was opened.
  [[nodiscard]] std::int64_t groesse() const { return groesse_; }
  // Fills `ziel` from byte `stelle` on; returns how far it came: less at the end of the file or
  // after an error.
  [[nodiscard]] std::size_t liesAn(std::int64_t stelle, std::span<std::uint8_t> ziel) const;
  // Whether `bytes` bytes from byte `stelle` on are those of `andere` from `dort` on; false if
  // either ends before or cannot be read.
  [[nodiscard]] bool gleicht(std::int64_t stelle, const Lesedatei& andere, std::int64_t dort,
                             std::int64_t bytes) const;
  // The error number of the first read that failed; 0 if none did. What was made of the file is
  // worth nothing otherwise.
  [[nodiscard]] int fehlernummer() const { return fehlernummer_; }

 private:
  Lesedatei(int griff, std::int64_t groesse, Dateien& dateien)
      : griff_(griff), groesse_(groesse), dateien_(&dateien) {}

  int griff_;
  std::int64_t groesse_;
  Dateien* dateien_;
  mutable int fehlernummer_ = 0;
};

}  // namespace hallkorb
