// SIGINT, SIGTERM and SIGHUP end the work at the next safe place, so that what is unfinished is
// tidied up or at least told.

#pragma once

namespace oxarchive {

// Catches the signals from now on. The second one of a kind ends the program at once, and one that
// the program was started to ignore stays ignored.
void catchInterruptions();

bool isInterrupted();

// Throws ArchiveFailure when one has come.
void throwIfInterrupted();

// Ends the program by the signal that has come, if any, so that its parent sees what happened.
void endIfInterrupted();

}  // namespace oxarchive
