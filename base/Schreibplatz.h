// How much a write to a descriptor takes at once.
//
// A line for the host is written whole or not at all, and no thread may be caught in a write to a
// pipe that nobody reads. poll(2) promises only the pipe's atomic size (PIPE_BUF: 4096 bytes on
// Linux, 512 on macOS), and lines with long paths are longer. Pipes and sockets say more when asked
// (FIONREAD and SIOCOUTQ on Linux, the write filter of kqueue on macOS).
//
// Any thread; the answer holds as long as no other process writes to the same pipe.
#pragma once

#include <cstddef>

namespace hallkorb {

// The number of bytes, at most `bytes`, that a write to `fd` takes without blocking: `bytes` if all
// of them fit, or if `fd` is no pipe or socket or its reader is gone (the write then reports that);
// 0 if it has to wait. A part is offered only if `bytes` is more than the whole pipe, or if the
// kernel does not report what is free.
[[nodiscard]] std::size_t schreibplatz(int fd, std::size_t bytes);

}  // namespace hallkorb
