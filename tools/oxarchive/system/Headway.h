#pragma once

namespace oxarchive {

// The exit code of a process that was ended because it made no progress.
inline constexpr int gaveUp = 113;

// Ends this process with the exit code `gaveUp` after this many seconds of its processor time
// without a call of `noteHeadway`: a hostile archive may send a parser into an endless loop. Calls
// `beforeEnd` first, in a signal handler that interrupts the parser.
void demandHeadway(
    unsigned seconds, void (*beforeEnd)() = [] {});

// Call when an entry or a part of one has been read.
void noteHeadway();

}  // namespace oxarchive
