#include "session/Lesedatei.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace hallkorb {

std::optional<Lesedatei> Lesedatei::oeffne(const std::string& pfad) {
  const int griff = ::open(pfad.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (griff < 0) return std::nullopt;
  struct stat zustand{};
  if (::fstat(griff, &zustand) != 0 || !S_ISREG(zustand.st_mode)) {
    ::close(griff);
    return std::nullopt;
  }
  return Lesedatei(griff, zustand.st_size);
}

Lesedatei::Lesedatei(Lesedatei&& andere) noexcept
    : griff_(std::exchange(andere.griff_, -1)), groesse_(andere.groesse_) {}

Lesedatei::~Lesedatei() {
  if (griff_ >= 0) ::close(griff_);
}

std::size_t Lesedatei::liesAn(std::int64_t stelle, std::span<std::uint8_t> ziel) const {
  std::size_t gelesen = 0;
  while (gelesen < ziel.size()) {
    const ssize_t n = ::pread(griff_, ziel.data() + gelesen, ziel.size() - gelesen,
                              stelle + static_cast<std::int64_t>(gelesen));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    gelesen += static_cast<std::size_t>(n);
  }
  return gelesen;
}

}  // namespace hallkorb
