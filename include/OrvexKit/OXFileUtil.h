// The rules on names and folders that opening, extracting and creating archives need, the facts
// about files that an archiver shows, and the Trash.
//
// Contract of everything in this header, unless a declaration says otherwise:
// - A path is a string of bytes; a null path gives null, false or 0.
// - Nothing fails loudly: what cannot be done gives null, false, 0 or the given path, as each
//   declaration says, and only `std::bad_alloc` is ever thrown.
// - A relative path starts in the current folder; an empty `baseDir`, `directory` or
//   `destination` is that folder.
// - A path that holds a NUL byte names nothing on disk: it is treated as a missing item.
// - A call that a signal interrupts goes on, and no function needs more than 40 KiB of stack.
// - Results belong to the caller, and arguments are read only until the call returns.
// - Every function may be called from any number of threads at once. Some of them read the
//   environment, as they say, so no thread may change the environment meanwhile.
// - Log lines go to GLib's structured log: domain "OrvexKit", level "message".

#pragma once

#include <OrvexKit/platform/OXDate.h>
#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXFileReference.h>
#include <OrvexKit/platform/OXObject.h>
#include <OrvexKit/platform/OXString.h>

#include <cstdint>
#include <optional>
#include <string_view>

// Archive names -------------------------------------------------------------------------------
//
// The extension of a path is what follows the last "." of its last component; slashes at the end
// of the path do not count. A leading "." with no other "." marks a hidden name, not an extension:
// ".gz" has none, ".tar.gz" has "gz".

// What can be asked of a path or of a date: the path or the date comes first.
namespace OXFileUtilAdditions {

// The archive extension of `path`: its extension, with "tar." before it when the name without it
// ends in ".tar" in any case. The "tar" is always written in lower case, while the rest keeps its
// own. Never null for a path that is not null, "" when there is no extension. Pure text: the disk
// is not touched.
//
//   "photos.tar.gz"  => "tar.gz"
//   "X.TAR.GZ"       => "tar.GZ"
//   "a.b.zip"        => "zip"         only "tar" makes a double extension
//   "x.7z.001"       => "001"
//   "tar.gz"         => "gz"          the name "tar" has no extension of its own
//   "README"         => ""
//   "/a.b/c"         => ""
//   null             => null
OX_EXPORT OXString archiveExtension(OXStringView path);

// `path` without its archive extension and the "." before it. A path that has none, or that would
// be left empty, is given back as it is. Pure text: the disk is not touched.
//
// The cut goes by length alone: it takes as many bytes off the end as the archive extension and
// one "." have. A slash at the end of `path` is counted like any other byte.
//
//   "photos.tar.gz"  => "photos"
//   "X.TAR.GZ"       => "X"
//   "report.pdf"     => "report"
//   "tar.gz"         => "tar"
//   "README"         => "README"
//   "dir/"           => "dir/"
//   ".gz"            => ".gz"
//   "ab.gz/"         => "ab."         "gz" and one more byte are taken off the end
//   null             => null
OX_EXPORT OXString stringByDeletingArchiveExtension(OXStringView path);

}  // namespace OXFileUtilAdditions

// The path of a split archive's first volume, from the path of any of its volumes. Three ways of
// numbering volumes are known: "name.partN.rar", the older "name.rar" with "name.r00", "name.r01"
// and so on, and "name.ext.001", "name.ext.002" and so on. The number of the first volume is as
// wide as the number in `path`. Upper and lower case are told apart.
//
// Gives `path` itself whenever it names no volume, is the first volume, or nothing lies where the
// first volume should be (a link that leads nowhere counts as nothing). Never null for a path that
// is not null. The disk is asked once, whether the first volume exists, and only when its path
// differs from `path`.
//
// With the first volume on disk:
//   "/v/movie.part03.rar"    => "/v/movie.part01.rar"
//   "/v/movie.partial.rar"   => "/v/movie.part001.rar"   what follows "part" is counted, not read
//   "/v/movie.r07"           => "/v/movie.rar"
//   "/v/disk.7z.002"         => "/v/disk.7z.001"
//   "/v/disk.7z.000"         => "/v/disk.7z.001"
// Always:
//   "/v/movie.part1.rar"     => "/v/movie.part1.rar"
//   "/v/movie.PART03.rar"    => "/v/movie.PART03.rar"
//   "/v/disk.003"            => "/v/disk.003"            no inner extension
//   "/v/name.mp3"            => "/v/name.mp3"
//   null                     => null
OX_EXPORT OXString OXGetFirstArchiveVolumePath(OXStringView path);

// The number of a first volume, `digits` characters wide: zeros and then a one. No width gives no
// text. Pure text: the disk is not touched.
//
//   1  => "1"
//   3  => "001"
//   0  => ""
OX_EXPORT OXString _OXFirstArchiveVolumeExtension(OXUnsignedWord digits);

// Paths and their ancestors -------------------------------------------------------------------

// `path` as seen from `ancestor`: what follows `ancestor` and one "/" in it, "" when the two are
// the same, and `path` itself when `ancestor` is none of its ancestors, is empty or is null. Pure
// text: the disk is not touched, case counts, nothing is normalised, and only one "/" is skipped.
//
//   ("/a/b/c", "/a")    => "b/c"
//   ("/a/b/c", "/a/")   => "b/c"
//   ("/a", "/")         => "a"
//   ("/a/bc", "/a/b")   => "/a/bc"    the match ends inside a component
//   ("/a/b", "/a/b")    => ""
//   ("/a/b/", "/a/b")   => ""
//   ("/a//b", "/a")     => "/b"
//   ("/a/b", "")        => "/a/b"
//   (null, "/a")        => null
OX_EXPORT OXString OXPathByRemovingAncestorPath(OXStringView path, OXStringView ancestor);

namespace OXFileUtilAdditions {

// The absolute path of what `path` leads to, without links, ".", ".." and doubled slashes; a
// relative path starts in the current folder. `path` itself when it cannot be resolved: a component
// is missing or may not be searched, links lead in a circle, or the result is longer than 1023
// bytes. Reads the disk.
//
// With "/d/link" leading to "/e", and "/e/f" there:
//   "/d/link/f"      => "/e/f"
//   "/d/../e//./f"   => "/e/f"
//   "/d/missing"     => "/d/missing"
//   ""               => ""
//   null             => null
OX_EXPORT OXString canonicalPath(OXStringView path);

}  // namespace OXFileUtilAdditions

// Temporary folders ---------------------------------------------------------------------------
//
// The user's temporary folder is the value of TMPDIR if that is set and not empty, else "/tmp/".
// It is looked up at every call. A relative one starts in the folder that is then the current one,
// and paths in it are absolute, so that they stay valid when the current folder changes.

// Makes a new, empty, hidden folder in `baseDir`, open to the user alone, and gives its path; the
// caller removes it. A null `baseDir` stands for "/tmp/", and is logged as
// "Temp base dir is nil! Using /tmp/ as a fallback!".
//
// Null when it cannot be made, with one line in the log:
// "mkstemp failed to generate a temp dir!" when `baseDir` is missing or not writable, or the disk
// is full; "Could not allocate memory for generating temp dir name!" when there is no memory.
//
//   "/var/tmp"    => "/var/tmp/.orvx.k3Xw9a"
//   "/var/tmp/"   => "/var/tmp/.orvx.Zq01Lm"
//   ""            => ".orvx.t6Rp2e"          relative, as `baseDir` is
//   "/missing"    => null
//   null          => "/tmp/.orvx.8dGf2x"
OX_EXPORT OXString OXCreateTemporaryDirectoryInDir(OXStringView baseDir);

// `OXCreateTemporaryDirectoryInDir` of the user's temporary folder.
//
//   TMPDIR=/var/tmp           => "/var/tmp/.orvx.k3Xw9a"
//   TMPDIR=x, current is /d   => "/d/x/.orvx.Zq01Lm"
//   TMPDIR unset              => "/tmp/.orvx.8dGf2x"
OX_EXPORT OXString OXCreateTemporaryDirectory();

// Makes a new, empty, visible folder in the user's temporary folder, open to the user alone, and
// gives its path; the caller removes it. When it cannot be made the result is the temporary folder
// itself, so the result is never null and must not be removed blindly. Nothing is logged.
//
//   TMPDIR=/var/tmp   => "/var/tmp/Vantrel.b7Ty0c"
//   TMPDIR=/missing   => "/missing"
OX_EXPORT OXString OXCreateUniqueTempDir();

// Names and folders in a destination ----------------------------------------------------------

// `directory` joined with the first name that is free in it: `name` itself, else `name` with a
// counter in parentheses, from 1 upward, before the archive extension. With `isFolder` the counter
// goes to the very end, because the dots in a folder's name mean nothing. An empty `name` stands
// for the folder itself while that does not exist, and for "Archive" once it does. With both empty
// the result is "", which names no item.
//
// `name` is one component, without "/". A link takes its name even when it leads nowhere. Nothing
// is created, so somebody else may take the name before the caller does: whoever makes the item
// has to do so exclusively (`O_EXCL`, `mkdir`) and ask again when told that it exists.
// `OXSafelyCreateArchiveSubdir` does that for folders.
//
// Null when `name` or `directory` is null. In a folder that is missing, or that may not be
// searched, every name is free.
//
//   ("x.zip", "/d", false), nothing there             => "/d/x.zip"
//   ("x.zip", "", false), nothing there               => "x.zip"
//   ("x.zip", "/missing", false)                      => "/missing/x.zip"
//   the same with "/d/x.zip" there                    => "/d/x (1).zip"
//   the same with "/d/x (1).zip" there too            => "/d/x (2).zip"
//   ("photos.tar.gz", "/d", false), taken             => "/d/photos (1).tar.gz"
//   ("photos.tar", "/d", true), taken                 => "/d/photos.tar (1)"
//   ("", "/d", false), "/d" there                     => "/d/Archive (1)"
//   ("", "", false)                                   => ""
OX_EXPORT OXString OXSequentiallyUniqueName(OXStringView name, OXStringView directory,
                                            bool isFolder);

// Makes a new folder for the contents of an archive, and gives its path. `name` is the archive's
// file name, without folders; with `deletePathExtension` its last extension is dropped first. As
// long as what remains is a name that desktops with packages show as one document instead of a
// folder ("Tool.app"), its extension is dropped as well. The folder is the first free one of that
// name in `destination`, as `OXSequentiallyUniqueName` finds it. Of the folders that are made, two
// callers, be they threads or processes, never get the same. Missing folders on the way to
// `destination` are made too.
//
// The name is tried out in a scratch folder in the user's temporary folder, which is gone when the
// function returns. Whoever swaps that folder for something else meanwhile finds nothing there
// made, moved or removed.
//
// Null, and nothing is touched, when an argument is null, or when `name` holds "/" or NUL, or is
// empty, "." or ".." after an extension has been dropped. Null as well when the scratch folder
// cannot be made (logged, see `OXCreateTemporaryDirectoryInDir`), or when opening it or moving in
// it fails (it is then left where it is). When only the final folder cannot be made, because
// `destination` is not writable or the name is too long, its path is given all the same, and others
// may be given it as well: look before writing into it.
//
//   ("notes.zip", "/d", true)      => "/d/notes"
//   ("notes.zip", "/d", true)      => "/d/notes (1)"     the second time
//   ("notes.zip", "/d", false)     => "/d/notes.zip"
//   ("a.tar.gz", "/d", true)       => "/d/a.tar"         one extension only
//   ("Tool.app.zip", "/d", true)   => "/d/Tool"
//   ("...zip", "/d", true)         => null
OX_EXPORT OXString OXSafelyCreateArchiveSubdir(OXStringView name, OXStringView destination,
                                               bool deletePathExtension);

// The user's own folders ----------------------------------------------------------------------
//
// Each of these paths is found once, by the first call in the process, and stays what it was then,
// whatever becomes of the environment or the folders. Threads that call first at the same moment
// get the same answer. The user's data folder is XDG_DATA_HOME if that is an absolute path, else
// ".local/share" in HOME if that is one, else ".local/share" in the home folder that the password
// database names for the user (XDG Base Directory 0.8). Folders that are made are
// open to the user alone; one that cannot be made is ignored, and its path is given all the same.

// The application's support folder, "Orvex" in the user's data folder. The first call makes it, and
// the missing folders on the way to it. Null, for as long as the process runs, for a user without
// a data folder.
//
//   XDG_DATA_HOME=/x            => "/x/Orvex"
//   XDG_DATA_HOME=x, HOME=/h    => "/h/.local/share/Orvex"
//   no home at all              => null
OX_EXPORT OXString OXAppSupportDir();

// The folder of the user's codecs, "codecs" in the application's support folder. The first call
// makes it and the support folder. Null when the support folder's path is null.
//
//   XDG_DATA_HOME=/x   => "/x/Orvex/codecs"
OX_EXPORT OXString OXUserCodecsPath();

// Where the RAR codec lies: "rar/rar" in the folder of the user's codecs, which is made as
// `OXUserCodecsPath` says. The file and its own folder are neither made nor looked for. Null when
// the codecs' path is null.
//
//   XDG_DATA_HOME=/x   => "/x/Orvex/codecs/rar/rar"
OX_EXPORT OXString OXRARCodecPath();

// Facts about files ---------------------------------------------------------------------------

// The bytes of all that is in the folder at `path`, and in the folders below it. Every item counts
// with the size that the file system reports for it: a link with its own, since it is not followed,
// a file once for each of its names, a folder itself as 0. Only `path` may be a link. Returns 0 for
// what is no folder or cannot be read. What cannot be read below it, or vanishes meanwhile, counts
// as 0. Nothing is logged. Never more than the largest value.
//
// A path below `path`, which is part of it as it is given, has room for 1023 bytes. A longer one is
// truncated, and the item at the truncated path is counted instead, if there is one. A folder found
// that way counts as 0, as does all that is in a folder whose own path has 1022 or 1023 bytes.
//
// Takes at most 17 descriptors, and memory for the paths of the folders still to visit.
//
//   a folder with 10 and 20 bytes in files, and 5 in a folder's file   => 35
//   a folder with a link to a large file, "target"                     => 6
//   a regular file                                                     => 0
//   null                                                               => 0
OX_EXPORT std::int64_t OXGetTotalFolderSize(OXStringView path);

// Total size of a folder tree, for a NUL-terminated path. Returns 0 for a null pointer. See
// `OXGetTotalFolderSize`.
OX_EXPORT std::int64_t _OXGetTotalFolderSize(const char* bytePath);

// The bytes of the item at `path`, as the file system reports them: of a link its own, of a folder
// its entry's. Zero when it cannot be read, with one line in the log:
// "Failed to get size for file at path: " and the path, or "(null)" in its place.
//
//   a file that holds "abc"   => 3
//   an empty file             => 0
//   "/missing"                => 0, logged as "Failed to get size for file at path: /missing"
//   null                      => 0, logged as "Failed to get size for file at path: (null)"
OX_EXPORT std::int64_t OXGetFileSize(OXStringView path);

// The MD5 digest (RFC 1321) of the contents of the regular file at `path`, or that a link at `path`
// leads to: 32 lower-case hexadecimal digits. A file of 4 GiB or more is digested over only its
// first (size modulo 2^32) bytes. It is a checksum and protects against nobody; systems that forbid
// MD5 for security do not hinder it.
//
// The file is read to its end, in pieces and into bounded memory, so a file that somebody changes
// meanwhile gives the digest of what was read. Less than 8 GiB are ever read: a file in /proc or
// /sys that has no end, or a huge one, takes seconds or minutes. Null when it is missing or cannot
// be read, when it is no regular file (a pipe or device is not opened, and nothing is ever waited
// for), when it gives 4 GiB but claims to be smaller, and when the system has no libcrypto.
//
//   a file that holds "abc"   => "900150983cd24fb0d6963f7d28e17f72"
//   an empty file             => "d41d8cd98f00b204e9800998ecf8427e"
//   a folder                  => null
//   null                      => null
OX_EXPORT OXString OXGenerateMD5DigestForFile(OXStringView path);

// Texts for the user --------------------------------------------------------------------------

// A byte count as text: a number with one decimal, or none where that would be a zero, and a unit.
// Units are powers of 1000 up to "GB"; exactly one unit uses the next smaller unit. The unit is
// chosen before the number is rounded: the double nearest to the quotient, half to even. The
// decimal point is "." whatever the user's locale. A negative size is in bytes. Never null; touches
// nothing.
//
//   0             => "0 B"
//   1000          => "1000 B"
//   1001          => "1 KB"
//   1050          => "1.1 KB"
//   1250          => "1.2 KB"
//   1500          => "1.5 KB"
//   999999        => "1000 KB"
//   1000000       => "1000 KB"
//   1048576       => "1 MB"
//   2500000000    => "2.5 GB"
//   -5            => "-5 B"
//   -2500000000   => "-2500000000 B"
OX_EXPORT OXString OXHumanReadableFileSize(std::int64_t size);

namespace OXFileUtilAdditions {

// A point in time as text, "Mar 05, 2013 04:07 PM": the month's short name, the day, the year in
// four digits or as many as it has, and hour and minute of a 12-hour clock. In UTF-8 always, in
// the local time of the process (as `localtime_r` tells it), and fractions of seconds count for
// their whole second. A year before the year 0 has a "-" before its digits.
//
// The names of months and halves of the day are those of the user's locale: LC_ALL, else LC_TIME,
// else LANG, as the environment has them at the first call in the process, which is when they are
// read. English ones stand in for a locale that the system does not have, or whose encoding it
// cannot convert. A locale without halves of the day leaves nothing after the last space.
//
// Null for null, for infinities and not-a-number, and for a year beyond 2^31 in either direction.
//
//   2013-03-05 16:07, LANG=C             => "Mar 05, 2013 04:07 PM"
//   the same, LANG=de_DE.UTF-8           => "Mär 05, 2013 04:07 "
//   0.5 s before 1970, TZ=UTC, LANG=C    => "Dec 31, 1969 11:59 PM"
//   NaN                                  => null
OX_EXPORT OXString fileDateDescription(std::optional<OXDate> date);

// What documents with the extension of `path` are called, in the user's language (LANGUAGE, LC_ALL,
// LC_MESSAGES, LANG) and in UTF-8: the text of the shared MIME database (freedesktop.org
// shared-mime-info 0.21) as it stands there, or, for a type that it lists without a text, the type
// and a word. It goes by the extension alone, be it that of a folder; nothing need exist at `path`.
// "" when there is no extension, or the database does not know it or is missing.
//
//   "/v/photos.zip"   => "Zip archive"
//   "x.tar.gz"        => "Gzip archive"
//   "README"          => ""
//   "x.unheard-of"    => ""
//   "x.foo", listed as application/x-foo without a text   => "application/x-foo type"
//   null              => null
OX_EXPORT OXString fileDescription(OXStringView path);

}  // namespace OXFileUtilAdditions

// References and the Trash --------------------------------------------------------------------

// Notes in `refOut` which item is at `path`: a link itself, whatever it leads to, even when `path`
// has a slash at its end. False, and `refOut` as it was, when there is none, or it cannot be told.
//
//   an existing file, folder or link   => true
//   a link that leads nowhere          => true
//   "/missing"                         => false
//   null                               => false
OX_EXPORT bool OXReferenceFromPath(OXFileReference& refOut, OXStringView path);

// Moves the item at `path` to the Trash, where desktops list it with its path and put it back
// (freedesktop.org Trash 1.0): a folder with all that is in it, a link itself. Slashes at the end
// do not count, and "." and ".." are the folders that they lead to. It goes to "Trash" in the
// user's data folder from the same mount, else to the user's own in ".Trash" or to ".Trash-" and
// the user's number, at the top of the item's mount. A missing one is made, one with links or
// folders of others in it is not used. What is mounted within a folder moves along and stays
// mounted.
//
// No daemon is called and no thread started. When the call returns the item has moved; its entry
// was on the disk before. False on every failure: the item stays where it is, and nothing of it,
// nor a new folder, is left in the Trash. It is missing, may not be moved or is a mount point,
// another item has taken its place meanwhile, the disk is full, or its file system has no Trash:
// those that the system mounts for itself (of the kinds tmpfs and proc, or at places like /boot)
// have none unless the user's data folder lies there. What is in a Trash already stays there, as
// does each folder and link that leads to the user's.
//
//   an existing file, folder or link   => true, and it is gone from its place
//   "file/", a file                    => true
//   "/missing"                         => false
//   null                               => false
OX_EXPORT bool OXMoveFileToTrashSync(OXStringView path);

// Errors --------------------------------------------------------------------------------------

// The domain under which a host's codecs report their errors: "OrvexKitCodecError". The library
// itself reports none.
OX_EXPORT extern const std::string_view kOXCodecErrorDomain;
