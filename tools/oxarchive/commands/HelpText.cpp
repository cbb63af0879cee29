// SPDX-License-Identifier: MIT

#include "commands/Commands.h"

#include <archive.h>

namespace oxarchive {

const char* const helpText =
    R"help(Usage: oxarchive extract ARCHIVE... [--into DIR] [--trash] [PASSWORD] [LIMIT...]
       oxarchive list ARCHIVE... [--long | --cbor] [PASSWORD] [LIMIT...]
       oxarchive create ARCHIVE PATH... [--level LEVEL]
                        [PASSWORD [--method METHOD]]
       oxarchive --help | --version

extract puts the contents of each archive into a new folder beside it, named
after it, and overwrites nothing. A split archive may be given by any volume.
Symbolic links that lead out of the folder are made last and counted. Names with
"..", devices, pipes and sockets are refused.
An interrupted extraction keeps what it has extracted so far, and says so.

  --into DIR   make the folders in DIR, which is created if missing
  --trash      move each completely extracted archive to the Trash

list shows flags ("d" for a folder, "e" for encrypted), size, modification time,
kind and path of each entry, then the totals.

  --long       modes, sizes in bytes, times in ISO 8601, link targets
  --cbor       the records of the entries, as a sequence of CBOR items

create packs each PATH under its last component into a new archive. The end of
its name decides the format: .tar, .tar.gz or .tgz, .tar.bz2, .tbz2 or .tbz,
.tar.xz or .txz, .tar.zst or .tzst, .zip, .7z. It appears only when complete.

  --level LEVEL     fastest, normal, best, or a number: 1 to 9 for gzip and
                    bzip2, 0 to 9 for xz, ZIP and 7-Zip, 1 to 22 for zstd
  --method METHOD   how a ZIP archive is encrypted: aes256 (the default),
                    aes128, or zipcrypt, which is weak but supported everywhere

PASSWORD, for ZIP archives only, is one of these:

  --password             ask for it on the terminal
  --password-file FILE   the first line of FILE; "-" is standard input
  --password-env NAME    the environment variable NAME

Each archive is read in a process of its own. As far as the system supports it,
this process can open only the archive's files and the new folder (Landlock; to
find volumes, also files whose names start alike), can make only system calls
for files (seccomp), and has no core dumps or new privileges. LIMIT is one of
these; SIZE is in bytes, or ends in K, M, G or T:

  --memory SIZE        address space of that process; the default is 2G
  --patience SECONDS   give up after this much of its processor time in which it
                       read no entry and wrote no byte; the default is 60
  --max-entries N      read at most this many entries
  --max-size SIZE      extract at most this much; list ignores it

  --           all further arguments are archives and paths
  -h, --help   show this text
  --version    show the versions of this program and its libraries

Exit status: 0 if everything succeeded, 1 if something could not be extracted,
listed, packed or moved to the Trash, 2 if the command line is wrong. See the
manual, oxarchive(1), for formats and environment variables.)help";

std::string versionText() {
  return "oxarchive " OXARCHIVE_VERSION "\nOrvexKit " OXARCHIVE_VERSION "\n" +
         std::string(::archive_version_details());
}

}  // namespace oxarchive
