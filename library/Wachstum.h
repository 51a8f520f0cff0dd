// Structures of the C interface that may grow.
//
// A library is replaced without its callers, which were compiled when such a structure was shorter.
// So it begins with its size as the caller knows it, later versions only append fields, and the
// library neither writes nor reads further. A caller that knows more than this library gets the
// library's size back, and is refused if it insists: nobody would look at its further fields.
//
// `erste` is the size of the first version, in bytes. The caller's structure comes as memory: it is
// of another type than the library's. Pure functions, any thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>

namespace hallkorb {

// Copies as much of `alles` as a caller with `bytes` of room knows, and notes how much that is.
// False if there is no such version.
template <class Struktur>
bool gibHinaus(const Struktur& alles, std::size_t erste, std::size_t bytes, void* hinaus) {
  if (hinaus == nullptr || bytes < erste) return false;
  Struktur gekuerzt = alles;
  gekuerzt.size = std::min(bytes, sizeof alles);
  std::memcpy(hinaus, &gekuerzt, gekuerzt.size);
  return true;
}

// What the caller has filled in, the rest as in `sonst`; nullopt if there is no such version.
template <class Struktur>
std::optional<Struktur> nimmHerein(const void* von, std::size_t erste, const Struktur& sonst) {
  std::size_t bytes = 0;
  if (von == nullptr) return std::nullopt;
  std::memcpy(&bytes, von, sizeof bytes);
  if (bytes < erste || bytes > sizeof sonst) return std::nullopt;
  Struktur ganz = sonst;
  std::memcpy(&ganz, von, bytes);
  ganz.size = sizeof ganz;
  return ganz;
}

}  // namespace hallkorb
