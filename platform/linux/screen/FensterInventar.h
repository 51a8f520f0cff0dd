// The windows of an X11 screen as the meeting ranking wants them.
//
// What a window is, here: one that the window manager manages (EWMH, `_NET_CLIENT_LIST_STACKING`),
// or, without such a list (some window managers keep none) or if its manager has ended, what lies
// in the children of the root window: the client that an older window manager marks with WM_STATE
// within its frame, or the child itself, unless it keeps away from window managers
// (override-redirect: menus, tooltips). Desktops are left out. The front window comes first: of two
// equal ones the user looks at that one.
//
// - Lengths: a pixel is a point. Position and size are those of the frame, with the border and
//   title bar that the window manager draws (`_NET_FRAME_EXTENTS`), and without the shadow that
//   some toolkits draw themselves (`_GTK_FRAME_EXTENTS`).
// - sichtbar: mapped, so neither minimised nor on another desktop; and, since some window managers
//   keep such windows mapped, not HIDDEN and on the current desktop. A shaded window counts as
//   visible: its picture is still there.
// - ebene: the layers of EWMH's stacking order. -1 BELOW, 0 ordinary, 1 ABOVE and docks,
//   2 FULLSCREEN.
// - anwendung: see AppKennungen.h. If a window has no class, it is the name of the process that the
//   server knows as the other end of its connection (X-Resource); `_NET_WM_PID` is not asked: in a
//   sandbox it is a number of another name space.
//
// All requests of one kind are sent for all windows before the first answer is read, so the time is
// not that of a round trip for each window. No request goes to another client, so one that hangs
// delays nothing. A window that vanishes meanwhile is left out.
//
// The thread of the connection.
#pragma once

#include "base/Fehler.h"
#include "platform/linux/screen/X11Verbindung.h"
#include "platform/ScreenCapture.h"

namespace hallkorb {

[[nodiscard]] Ergebnis liesFenster(const X11Verbindung& verbindung, ScreenContent& content);

}  // namespace hallkorb
