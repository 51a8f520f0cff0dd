// The codes that the platform documents for a call that fails. Each of them must arrive unchanged.
#pragma once

#include <array>
#include <cerrno>
#include <cstdint>
#include <vector>

namespace hallkorb {

// A code that is written as four letters.
[[nodiscard]] constexpr std::int32_t vier(const char (&text)[5]) {
  std::uint32_t wert = 0;
  for (int i = 0; i < 4; ++i)
    wert = wert << 8U | static_cast<unsigned char>(text[i]);
  return static_cast<std::int32_t>(wert);
}

// Why there is no event queue, and why one refuses a change.
inline constexpr std::array KQUEUE_FEHLER{ENOMEM, EMFILE, ENFILE};
inline constexpr std::array KEVENT_FEHLER{EACCES, EFAULT, EBADF,  EINTR,
                                          EINVAL, ENOENT, ENOMEM, ESRCH};

// Codes that have numbers one after another, downwards.
[[nodiscard]] inline std::vector<long> codes(long erster, long letzter) {
  std::vector<long> alle;
  for (long code = erster; code >= letzter; --code)
    alle.push_back(code);
  return alle;
}

}  // namespace hallkorb
