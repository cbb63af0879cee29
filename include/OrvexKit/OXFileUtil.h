// SPDX-License-Identifier: MIT

/// \file
/// What opening, extracting and creating archives needs from the file system: names, folders, facts
/// about files, and the Trash. Unless a function says otherwise:
/// - A path is a string of bytes. A null path returns null, false or 0. A path that contains a NUL
///   byte is treated as a missing item.
/// - A relative path starts in the current folder; an empty folder argument is that folder.
/// - A failure returns null, false, 0 or the given path. Only `std::bad_alloc` is thrown.
/// - The caller owns the result. Arguments are read only until the function returns.
/// - Functions are thread-safe, as long as no thread changes the environment at the same time.
/// - Interrupted system calls are repeated. No function needs more than 40 KiB of stack.
/// - Log lines go to GLib's structured log, domain "OrvexKit", level "message".

#pragma once

#include <OrvexKit/platform/OXDate.h>
#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXFileReference.h>
#include <OrvexKit/platform/OXObject.h>
#include <OrvexKit/platform/OXString.h>

#include <cstdint>
#include <optional>
#include <string_view>

/// \defgroup names Archive names and paths
/// The extension of a path is the text after the last "." of its last component, trailing slashes
/// aside. A leading "." with no other "." marks a hidden name: ".gz" has none, ".tar.gz" has "gz".
/// \{

/// Operations on a path or a date, which is the first argument.
namespace OXFileUtilAdditions {

/// Returns the extension of `path`, with "tar." (always lower case) before it if the name without
/// it ends in ".tar" in any case. Returns "" if there is none. Does not touch the disk.
///
///     "photos.tar.gz"  => "tar.gz"
///     "X.TAR.GZ"       => "tar.GZ"
///     "a.b.zip"        => "zip"         only "tar" makes a double extension
///     "x.7z.001"       => "001"
///     "tar.gz"         => "gz"          the name "tar" has no extension of its own
///     "README"         => ""
///     "/a.b/c"         => ""
///     null             => null
/// \ingroup names
OX_EXPORT OXString archiveExtension(OXStringView path);

/// Returns `path` without its archive extension and the "." before it, or `path` itself if it has
/// no extension or nothing would remain. Removes as many bytes from the end as these have, and a
/// trailing slash counts: pass names without one. Does not touch the disk.
///
///     "photos.tar.gz"  => "photos"
///     "X.TAR.GZ"       => "X"
///     "report.pdf"     => "report"
///     "tar.gz"         => "tar"
///     "README"         => "README"
///     "dir/"           => "dir/"
///     ".gz"            => ".gz"
///     "ab.gz/"         => "ab."         "gz" and one more byte are taken off the end
///     null             => null
/// \ingroup names
OX_EXPORT OXString stringByDeletingArchiveExtension(OXStringView path);

/// Returns the absolute path that `path` leads to, without symbolic links, ".", ".." and doubled
/// slashes. Reads the disk. Returns `path` itself if it cannot be resolved: a component is missing
/// or not searchable, symbolic links form a loop, or the result is longer than 1023 bytes.
///
///     With "/d/link" leading to "/e", and "/e/f" there:
///     "/d/link/f"      => "/e/f"
///     "/d/../e//./f"   => "/e/f"
///     "/d/missing"     => "/d/missing"
///     ""               => ""
///     null             => null
/// \ingroup names
OX_EXPORT OXString canonicalPath(OXStringView path);

}  // namespace OXFileUtilAdditions

/// Returns the path of the first volume of a split archive, from the path of any volume in these
/// schemes: "name.partN.rar"; "name.rar", "name.r00", "name.r01" and so on; "name.ext.001",
/// "name.ext.002" and so on. The number is as wide as in `path`. Case-sensitive.
///
/// Returns `path` itself if it names no volume or the first, or if nothing exists at the first
/// volume's path (a dangling symbolic link counts as nothing). Asks the disk at most once.
///
///     With the first volume on disk:
///     "/v/movie.part03.rar"    => "/v/movie.part01.rar"
///     "/v/movie.partial.rar"   => "/v/movie.part001.rar"  three characters, digits or not
///     "/v/movie.r07"           => "/v/movie.rar"
///     "/v/disk.7z.002"         => "/v/disk.7z.001"
///     "/v/disk.7z.000"         => "/v/disk.7z.001"
///     Always:
///     "/v/movie.part1.rar"     => "/v/movie.part1.rar"
///     "/v/movie.PART03.rar"    => "/v/movie.PART03.rar"
///     "/v/disk.003"            => "/v/disk.003"            no inner extension
///     "/v/name.mp3"            => "/v/name.mp3"
///     null                     => null
OX_EXPORT OXString OXGetFirstArchiveVolumePath(OXStringView path);

/// Returns the number of a first volume, `digits` characters wide. Does not touch the disk.
///
///     1  => "1"
///     3  => "001"
///     0  => ""
OX_EXPORT OXString _OXFirstArchiveVolumeExtension(OXUnsignedWord digits);

/// Returns `path` relative to `ancestor`: the text after `ancestor` and one "/", or "" if both are
/// the same. Returns `path` itself if `ancestor` is null, empty or no ancestor of it. Compares
/// bytes, without normalisation. Does not touch the disk.
///
///     ("/a/b/c", "/a")    => "b/c"
///     ("/a/b/c", "/a/")   => "b/c"
///     ("/a", "/")         => "a"
///     ("/a/bc", "/a/b")   => "/a/bc"    the match ends inside a component
///     ("/a/b", "/a/b")    => ""
///     ("/a/b/", "/a/b")   => ""
///     ("/a//b", "/a")     => "/b"
///     ("/a/b", "")        => "/a/b"
///     (null, "/a")        => null
OX_EXPORT OXString OXPathByRemovingAncestorPath(OXStringView path, OXStringView ancestor);
/// \}

/// \defgroup folders Folders
/// The user's temporary folder is TMPDIR if set and not empty, else "/tmp/"; each call reads it and
/// makes it absolute. The user's data folder is XDG_DATA_HOME if absolute, else ".local/share" in
/// HOME if absolute, else in the home folder of the password database (XDG Base Directory 0.8).
/// \{

/// Creates a new, empty, hidden folder in `baseDir`, accessible to the user only, and returns its
/// path. The caller removes it. Null if `baseDir` is missing or not writable, or no space is left.
///
///     "/var/tmp"    => "/var/tmp/.orvx.k3Xw9a"
///     "/var/tmp/"   => "/var/tmp/.orvx.Zq01Lm"
///     ""            => ".orvx.t6Rp2e"          relative, as `baseDir` is
///     "/missing"    => null                    logged: "mkstemp failed to generate a temp dir!"
///     null          => "/tmp/.orvx.8dGf2x"
///         logged: "Temp base dir is nil! Using /tmp/ as a fallback!"
///     no memory     => null
///         logged: "Could not allocate memory for generating temp dir name!"
OX_EXPORT OXString OXCreateTemporaryDirectoryInDir(OXStringView baseDir);

/// Calls `OXCreateTemporaryDirectoryInDir` for the user's temporary folder.
///
///     TMPDIR=/var/tmp           => "/var/tmp/.orvx.k3Xw9a"
///     TMPDIR=x, current is /d   => "/d/x/.orvx.Zq01Lm"
///     TMPDIR unset              => "/tmp/.orvx.8dGf2x"
OX_EXPORT OXString OXCreateTemporaryDirectory();

/// Creates a new, empty, visible folder in the user's temporary folder, accessible to the user
/// only, and returns its path. The caller removes it. On failure logs nothing and returns the
/// temporary folder itself, never null: check before you remove it.
///
///     TMPDIR=/var/tmp   => "/var/tmp/Vantrel.b7Ty0c"
///     TMPDIR=/missing   => "/missing"
OX_EXPORT OXString OXCreateUniqueTempDir();

/// Returns `directory` joined with the first free name in it: `name` itself, else `name` with a
/// counter in parentheses, from 1 upward, before the archive extension. With `isFolder` the counter
/// goes to the end, as a folder's name has no extension. An empty `name` means `directory` itself
/// if nothing is there, else "Archive (1)" and so on. If both are empty, returns "" (no item).
///
/// `name` is one component, without "/". A dangling symbolic link takes its name. In a folder that
/// is missing or not searchable, every name is free. Creates nothing, so another process can take
/// the name first: create the item exclusively (`O_EXCL`, `mkdir`), and ask again if it exists.
/// `OXSafelyCreateArchiveSubdir` does so for folders.
///
///     ("x.zip", "/d", false), nothing there             => "/d/x.zip"
///     ("x.zip", "", false), nothing there               => "x.zip"
///     ("x.zip", "/missing", false)                      => "/missing/x.zip"
///     the same with "/d/x.zip" there                    => "/d/x (1).zip"
///     the same with "/d/x (1).zip" there too            => "/d/x (2).zip"
///     ("photos.tar.gz", "/d", false), taken             => "/d/photos (1).tar.gz"
///     ("photos.tar", "/d", true), taken                 => "/d/photos.tar (1)"
///     ("", "/d", false), "/d" there                     => "/d/Archive (1)"
///     ("", "", false)                                   => ""
OX_EXPORT OXString OXSequentiallyUniqueName(OXStringView name, OXStringView directory,
                                            bool isFolder);

/// Creates a new folder for the contents of the archive file `name`, and returns its path. It is in
/// `destination`, which is created too if missing, with the folders above it. `deletePathExtension`
/// drops the last extension. The extension of a file package, a folder that some desktops show as
/// one document ("Tool.app"), is always dropped. Takes the first free name, as
/// `OXSequentiallyUniqueName` does, but by creating it: no two callers get the same folder.
///
/// Returns null and touches nothing if an argument is null, or if `name` contains "/" or NUL, or is
/// empty, "." or ".." once an extension is dropped. If only the last folder cannot be created
/// (`destination` is not writable, the name is too long), its path is returned all the same, maybe
/// to several callers: check before you write into it.
///
/// First tries the name in a scratch folder in the user's temporary folder. Returns null if that
/// cannot be created (logged, see `OXCreateTemporaryDirectoryInDir`) or opened, or if a rename in
/// it fails. Removes the scratch folder, unless a step fails or others have moved it.
///
///     ("notes.zip", "/d", true)      => "/d/notes"
///     ("notes.zip", "/d", true)      => "/d/notes (1)"     the second time
///     ("notes.zip", "/d", false)     => "/d/notes.zip"
///     ("a.tar.gz", "/d", true)       => "/d/a.tar"         one extension only
///     ("Tool.app.zip", "/d", true)   => "/d/Tool"
///     ("...zip", "/d", true)         => null
OX_EXPORT OXString OXSafelyCreateArchiveSubdir(OXStringView name, OXStringView destination,
                                               bool deletePathExtension);

/// Returns the application's support folder, "Orvex" in the user's data folder, or null if there is
/// none. The first call in the process determines the path for good, and creates the folder and
/// those above it, accessible to the user only, if it can. Concurrent first calls are safe.
///
///     XDG_DATA_HOME=/x            => "/x/Orvex"
///     XDG_DATA_HOME=x, HOME=/h    => "/h/.local/share/Orvex"
///     no home at all              => null
OX_EXPORT OXString OXAppSupportDir();

/// Returns the folder of the user's codecs, "codecs" in `OXAppSupportDir()`, or null if that is
/// null. The first call in the process determines it and creates both folders, as that function
/// does.
///
///     XDG_DATA_HOME=/x   => "/x/Orvex/codecs"
OX_EXPORT OXString OXUserCodecsPath();

/// Returns the path of the RAR codec, "rar/rar" in `OXUserCodecsPath()`, which it calls, or null if
/// that is null. Neither creates nor looks for the codec and its own folder.
///
///     XDG_DATA_HOME=/x   => "/x/Orvex/codecs/rar/rar"
OX_EXPORT OXString OXRARCodecPath();
/// \}

/// \defgroup files File facts and the Trash
/// Sizes, digests, dates and kinds of files, as numbers and as text for the user.
/// \{

/// Returns the total size of a folder tree in bytes. Each item below `path` counts with the size
/// that the file system reports: a symbolic link with its own (only `path` itself is followed), a
/// hard-linked file once per link, a folder as 0. Returns 0 if `path` is no readable folder; what
/// is unreadable or vanishes below it counts as 0. Logs nothing. Saturates at the largest value.
/// Uses at most 17 descriptors, and memory for the paths of the folders still to be visited.
///
/// A child path (`path` as given, and the names below) longer than 1023 bytes is truncated, and the
/// item at the truncated path, if any, is counted instead. A folder found that way counts as 0, and
/// so does all that is in a folder whose own path has 1022 or 1023 bytes.
///
///     a folder with 10 and 20 bytes in files, and 5 in a folder's file   => 35
///     a folder with a link to a large file, "target"                     => 6
///     a regular file                                                     => 0
///     null                                                               => 0
OX_EXPORT std::int64_t OXGetTotalFolderSize(OXStringView path);

/// Returns the total size of a folder tree in bytes, as `OXGetTotalFolderSize` does, for a
/// NUL-terminated path. Returns 0 for a null pointer.
OX_EXPORT std::int64_t _OXGetTotalFolderSize(const char* bytePath);

/// Returns the size of an item in bytes, as the file system reports it: of a symbolic link or a
/// folder, its own. Returns 0 on failure, and logs it.
///
///     a file that holds "abc"   => 3
///     an empty file             => 0
///     "/missing"                => 0, logged as "Failed to get size for file at path: /missing"
///     null                      => 0, logged as "Failed to get size for file at path: (null)"
OX_EXPORT std::int64_t OXGetFileSize(OXStringView path);

/// Returns the MD5 digest (RFC 1321) of a regular file as 32 lower-case hexadecimal digits. Follows
/// symbolic links. A file of 4 GiB or more is digested over only its first (size modulo 2^32)
/// bytes. A checksum, not a protection: works also where the system forbids MD5 for security.
///
/// Returns null if the file is missing, unreadable or not regular (a pipe or device is not opened,
/// so nothing blocks), if 4 GiB can be read but the file system reports a smaller size, or if the
/// system has no libcrypto. Reads in pieces and in bounded memory, and digests what it reads if the
/// file changes meanwhile. Reads less than 8 GiB, which can take minutes for a file in /proc.
///
///     a file that holds "abc"   => "900150983cd24fb0d6963f7d28e17f72"
///     an empty file             => "d41d8cd98f00b204e9800998ecf8427e"
///     a folder                  => null
///     null                      => null
OX_EXPORT OXString OXGenerateMD5DigestForFile(OXStringView path);

/// Returns a byte count as text: a number with one decimal, dropped if it is 0, and a unit. Units
/// are powers of 1000 up to "GB"; exactly one unit uses the next smaller unit, a negative size uses
/// "B". The unit is chosen before the number is rounded to the nearest tenth. 1.25 is an exact tie
/// and goes to the even digit; the double nearest to 1.05 is above it. The decimal point is "." in
/// every locale. Never null. Does not touch the disk.
///
///     0             => "0 B"
///     1000          => "1000 B"
///     1001          => "1 KB"
///     1050          => "1.1 KB"
///     1250          => "1.2 KB"
///     1500          => "1.5 KB"
///     999999        => "1000 KB"
///     1000000       => "1000 KB"
///     1048576       => "1 MB"
///     2500000000    => "2.5 GB"
///     -5            => "-5 B"
///     -2500000000   => "-2500000000 B"
OX_EXPORT OXString OXHumanReadableFileSize(std::int64_t size);

namespace OXFileUtilAdditions {

/// Returns a date as text in UTF-8: short month name, day, year of at least four digits ("-" before
/// year 0), hour and minute of a 12-hour clock, AM or PM. In the local time zone (`localtime_r`),
/// rounded down to seconds. Null for null, infinities, not-a-number, years beyond `struct tm`.
///
/// Month names, AM and PM are those of LC_ALL, else LC_TIME, else LANG, read from the environment
/// by the first call in the process. English replaces a locale that is not installed or whose
/// encoding cannot be converted. A locale without AM and PM adds nothing after the last space.
///
///     2013-03-05 16:07, LANG=C             => "Mar 05, 2013 04:07 PM"
///     the same, LANG=de_DE.UTF-8           => "Mär 05, 2013 04:07 "
///     0.5 s before 1970, TZ=UTC, LANG=C    => "Dec 31, 1969 11:59 PM"
///     NaN                                  => null
/// \ingroup files
OX_EXPORT OXString fileDateDescription(std::optional<OXDate> date);

/// Returns the kind of a document by the extension of `path` only, in UTF-8 and the user's language
/// (LANGUAGE, LC_ALL, LC_MESSAGES, LANG): the text of the shared MIME database (freedesktop.org
/// shared-mime-info 0.21) or, for a type without a text, the type and the word "type". Nothing need
/// exist at `path`. Returns "" if there is no extension, if the database does not know it, or if
/// the database or GIO is missing.
///
///     "/v/photos.zip"   => "Zip archive"
///     "x.tar.gz"        => "Gzip archive"
///     "README"          => ""
///     "x.unheard-of"    => ""
///     "x.foo", listed as application/x-foo without a text   => "application/x-foo type"
///     null              => null
/// \ingroup files
OX_EXPORT OXString fileDescription(OXStringView path);

}  // namespace OXFileUtilAdditions

/// Records in `refOut` which item is at `path`: a symbolic link itself, also with a trailing slash.
/// Returns false and leaves `refOut` unchanged if there is none or it cannot be determined.
///
///     an existing file, folder or link   => true
///     a link that leads nowhere          => true
///     "/missing"                         => false
///     null                               => false
OX_EXPORT bool OXReferenceFromPath(OXFileReference& refOut, OXStringView path);

/// Moves an item to the Trash, where desktops list and restore it (freedesktop.org Trash 1.0): a
/// folder with its contents, and mounts in it, which stay mounted; a symbolic link itself. Ignores
/// trailing slashes; "." and ".." are the folders that they lead to.
///
/// Uses "Trash" in the user's data folder if on the same mount, else the user's own folder in
/// ".Trash" at the top of the item's mount (if that has the sticky bit), else ".Trash-UID" there.
/// Creates the user's folder if missing. At the top of a mount, follows no symbolic link, and the
/// user must own that folder. A name that is taken gets a number, a long one is truncated. Writes
/// the entry to disk before the item moves. Calls no daemon and starts no thread.
///
/// Returns false on every failure: the item stays in place, and the Trash keeps no part of it and
/// no new folder. It fails if the item is missing, not movable, a mount point, or replaced
/// meanwhile; if it is in a Trash, or is a folder or symbolic link on the way to the user's; if the
/// disk is full; or if the file system has no Trash, like those that the system mounts for itself
/// (tmpfs, proc and the like, or at places like /boot) unless they hold the user's data folder.
///
///     an existing file, folder or link   => true, and it is gone from its place
///     "file/", a file                    => true
///     "/missing"                         => false
///     null                               => false
OX_EXPORT bool OXMoveFileToTrashSync(OXStringView path);
/// \}

/// The domain in which a host's codecs report errors: "OrvexKitCodecError". The library has none.
/// \ingroup types
OX_EXPORT extern const std::string_view kOXCodecErrorDomain;
