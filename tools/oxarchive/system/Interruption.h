// SIGINT, SIGTERM and SIGHUP end the work at the next safe place, so that what is unfinished is
// tidied up or at least told.

#pragma once

namespace oxarchive {

// Writing to a pipe that nobody reads any more, or past the largest size of a file, is from now on
// a failed write like others, so that no work is broken off in its middle.
void ignoreWriteSignals();

// Undoes that, for another program.
void restoreWriteSignals();

// Catches the signals from now on. The second one of a kind ends the program at once, and one that
// the program was started to ignore stays ignored.
void catchInterruptions();

// Catches those that are caught any number of times from now on: the parent decides when it is
// enough.
void keepCatchingInterruptions();

bool isInterrupted();

// Throws ArchiveFailure when one has come.
void throwIfInterrupted();

// Ends the program by the signal that has come, if any, so that its parent sees what happened.
void endIfInterrupted();

}  // namespace oxarchive
