// How much a write to a descriptor takes at once.
//
// A line for the host is written whole or not at all, and no thread may be caught in a write that
// waits for a reader: of a pipe or socket, or of a terminal. poll(2) promises only the pipe's
// atomic size (PIPE_BUF: 4096 bytes on Linux, 512 on macOS), and lines with long paths are longer.
// Pipes and sockets say more when asked (FIONREAD and SIOCOUTQ on Linux, the write filter of kqueue
// on macOS).
//
// A terminal does not say more: poll(2) reports it as ready if it takes a single byte, and a write
// waits for the room of the rest. Such a write must not be allowed to wait at all.
//
// Any thread; the answer holds as long as nobody else writes to the same pipe: another process, or
// our other stream if both lead there.
#pragma once

#include <cstddef>
#include <optional>

namespace hallkorb {

// The number of bytes, at most `bytes`, that a write to `fd` takes without blocking: `bytes` if all
// of them fit, or if `fd` is ready and no pipe or socket, or its reader is gone (the write then
// reports that); 0 if it has to wait. A part is offered only if `bytes` is more than the whole
// pipe, or if the kernel does not report what is free.
[[nodiscard]] std::size_t schreibplatz(int fd, std::size_t bytes);

// If `fd` is a terminal, another handle of it whose writes take what fits and never wait; the
// caller closes it. `fd` itself stays as it is, since other processes share it. nullopt if it is no
// terminal, or cannot be opened again.
[[nodiscard]] std::optional<int> terminalOhneWarten(int fd);

}  // namespace hallkorb
