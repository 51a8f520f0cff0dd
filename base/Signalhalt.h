// The signals that end a recording, held back from the program's first instruction on.
//
// A host that stops a recording right after starting it must get the orderly end too. So a program
// that uses this holds SIGINT, SIGTERM and SIGHUP back before all constructors of its own (on macOS
// before or among them, as the linker puts them); the run loop takes what has come by then.
//
// Main thread, before there are others.
#pragma once

namespace hallkorb {

// For everything but a recording: delivers what was held back, which ends the program as usual.
void gibSignaleFrei();

}  // namespace hallkorb
