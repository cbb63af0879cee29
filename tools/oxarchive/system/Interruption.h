// SIGINT, SIGTERM and SIGHUP end the work at the next safe place, so that what is unfinished is
// tidied up or at least told.

#pragma once

namespace oxarchive {

// Whether writing to a pipe that nobody reads any more, or past the largest size of a file, is a
// failed write like others, so that no work is broken off in its middle.
void setWriteSignals(bool areIgnored);

// Catches the signals from now on, but one that the program was started to ignore stays ignored.
// With `isOnce` the second one of a kind ends the program at once.
void catchInterruptions(bool isOnce);

bool isInterrupted();

// Throws ArchiveFailure when one has come.
void throwIfInterrupted();

// Ends the program by the signal that has come, if any, so that its parent sees what happened.
void endIfInterrupted();

}  // namespace oxarchive
