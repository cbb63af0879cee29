#pragma once

namespace oxarchive {

// The exit code of a process that was ended since it made no headway.
inline constexpr int gaveUp = 113;

// Ends this process with the exit code `gaveUp` when no headway is noted for as many seconds of its
// own processor time. The parsers of archives may loop for ever over what a stranger has made.
// `beforeEnd` is called before, in a signal handler, while the parser is at work.
void demandHeadway(
    unsigned seconds, void (*beforeEnd)() = [] {});

// An entry was read, or something of one.
void noteHeadway();

}  // namespace oxarchive
