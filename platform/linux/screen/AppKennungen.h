// Which application a window belongs to, in the terms of the meeting ranking.
//
// The ranking knows applications by the bundle identifiers that macOS gives them. X11 has none;
// what a window has instead is its class (WM_CLASS: an instance name and a class name) and, with
// some toolkits, the name of its desktop file. So a table translates what the packages of the
// distributions, the makers' own packages, Flatpak and Snap use. Everything else keeps its class
// name, which is no identifier that the ranking knows.
//
// Decisions the table holds:
// - Chromium counts as Chrome, and the test channels of a browser as the browser: the ranking asks
//   whether a window is a browser's, not which one.
// - The unofficial clients that wrap the Teams web page count as Teams: their window is the
//   meeting's and nothing else's.
// - Web apps that Chrome, Chromium or Edge have installed carry the application's 32 letters in
//   their class ("crx_" or "crx__" and the letters) or desktop file; they become
//   "com.google.Chrome.app.<letters>" and "com.microsoft.edgemac.app.<letters>". Web apps of the
//   other browsers are windows of the browser.
//
// Comparisons ignore the case of ASCII letters: the same program is "Slack" in one package and
// "slack" in the next. Pure functions and constants, any thread.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/ScreenCapture.h"

namespace hallkorb {

// What a window says of its application; UTF-8, empty if unknown.
struct AppMerkmale {
  std::string instanz;       // WM_CLASS, first string
  std::string klasse;        // WM_CLASS, second string
  std::string desktopDatei;  // name or path, with or without ".desktop"
};

struct AppKennung {
  std::string_view merkmal;  // class, instance or desktop file, in lower case
  std::string_view bundle;
  std::string_view name;
};

[[nodiscard]] std::span<const AppKennung> appKennungen();

// The application; nullopt if the window does not name one. The identifier of one that is not in
// the table is its class name (otherwise its instance, otherwise its desktop file), with quotation
// marks, backslashes and control characters replaced by "_": identifiers are written into JSON as
// they are.
[[nodiscard]] std::optional<ScreenWindow::Anwendung> anwendungAus(const AppMerkmale& merkmale);

}  // namespace hallkorb
