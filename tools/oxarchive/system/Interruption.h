// SPDX-License-Identifier: MIT

// SIGINT, SIGTERM and SIGHUP end the work at the next safe point, so that unfinished items are
// removed or at least reported.

#pragma once

namespace oxarchive {

// With `areIgnored`, writing to a pipe without readers, or past the file size limit, fails with an
// error in place of a signal that ends the program in the middle of its work.
void setWriteSignals(bool areIgnored);

// Catches the signals from now on, except those that were ignored at the program's start. With
// `isOnce` the second signal of a kind ends the program at once.
void catchInterruptions(bool isOnce);

bool isInterrupted();

// Throws ArchiveFailure if a signal was caught.
void throwIfInterrupted();

// Ends the program with the caught signal, if any, so that its parent sees the cause.
void endIfInterrupted();

}  // namespace oxarchive
