#include "commands/CommandLine.h"

namespace oxarchive {

const char* const helpText =
    R"help(Usage: oxarchive extract ARCHIVE... [--into DIR] [--trash] [PASSWORD] [LIMIT...]
       oxarchive list ARCHIVE [PASSWORD] [LIMIT...]
       oxarchive create ARCHIVE PATH... [--level LEVEL]
                        [PASSWORD [--method METHOD]]
       oxarchive --help

extract puts what is in each archive into a new folder of its own, which is
named after it and lies beside it. Nothing is ever overwritten: where the name
is taken the folder is called "NAME (1)", "NAME (2)" and so on. Of a split
archive any volume may be given: name.7z.001, name.part1.rar, or name.rar with
name.r00.

  --into DIR   make the folders in DIR, which is made when it is missing
  --trash      move each archive that was extracted whole, with all its volumes,
               to the Trash, once all archives are done; not when interrupted

For each archive one line goes to standard output:

  ARCHIVE -> FOLDER: N entries, SIZE

where SIZE is that of all files in the folder, with " (incomplete)" at its end
when something in the archive could not be extracted; standard error then says
what, and why. Names with ".." in them, and devices, pipes and sockets, are
refused; absolute names are taken to start at the folder. Links that lead out of
the folder are made last of all, and their number is told. Of an archive of
which nothing can be extracted, no folder is left behind.
An extract that is interrupted keeps what it has by then, and says
" (incomplete)"; the archives after it are left alone.

list shows the entries of one archive: flags ("d" for a folder, "e" for
encrypted), size, time of the last change, kind and path, each in its column;
then the totals, with " (incomplete)" at their end when not all could be read.

create packs each PATH, with all that is in it if it is a folder, under its last
component into a new archive. The end of the new archive's name decides its
format, in any case: .tar, .tar.gz or .tgz, .tar.bz2, .tbz2 or .tbz, .tar.xz or
.txz, .tar.zst or .tzst, .zip, .7z. Where the name is taken the archive is
called "NAME (1).EXT" and so on. It appears only when it is whole, and otherwise
nothing is left of it. Links are packed as links, "." and ".." under the
folder's own name; two PATHs may not have the same last component. Permissions
and times are kept; owners in the formats that have them. One line goes to
standard output:

  ARCHIVE: N entries, SIZE, MD5 DIGEST

where SIZE is that of the archive. When something cannot be read, or the format
cannot hold its name, no archive is made. Devices, pipes and sockets are named
and left out, and the line then ends with " (incomplete)".

  --level LEVEL     fastest, normal, best, or a number: 1 to 9 for gzip and
                    bzip2, 0 to 9 for xz, ZIP and 7-Zip, 1 to 22 for zstd
  --method METHOD   how a ZIP archive is encrypted: aes256 (the default),
                    aes128, or zipcrypt, which is weak but known everywhere

PASSWORD is one of these. ZIP archives alone are encrypted and decrypted; the
names in them, where links lead, and empty files stay readable, so that list
needs no password.

  --password             ask for it on the terminal
  --password-file FILE   the first line of FILE; "-" is standard input
  --password-env NAME    the environment variable NAME

For extract and list, everything that reads an archive runs in a process of its
own. Before it reads the first byte that process gives away, as far as the
system lets it, all but the archive's files and the new folder (Landlock), all
system calls but those for files (seccomp: no network, no other program, no
other process), core dumps and new privileges. It ends with oxarchive, however
that ends. LIMIT is one of these; SIZE is in bytes, or ends in K, M, G or T:

  --memory SIZE        address space of that process; 2G if it is not given
  --patience SECONDS   give up after as many seconds of its processor time in
                       which it read no entry and wrote no byte; 60 if not given
  --max-entries N      read no more entries than these
  --max-size SIZE      extract no more than this; list takes no notice

  --           what follows are archives and paths, even if it begins with "-"
  -h, --help   show this text

Formats of extract and list: tar, cpio, ar, ZIP, 7-Zip, RAR, CAB, LHA, XAR and
ISO 9660, also compressed with gzip, bzip2, xz, lzma, lzip, zstd, lz4 or
compress, and RPM.

Environment: temporary files are made in TMPDIR, else in /tmp; the Trash is in
XDG_DATA_HOME, else in ~/.local/share; OXARCHIVE_WORKER is the path of a program
that opens the archive for list in place of oxarchive itself.

Exit status: 0 when all went well, 1 when something could not be extracted,
listed, packed or moved to the Trash, 2 when the command line is wrong.)help";

}  // namespace oxarchive
