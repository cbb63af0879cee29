#include "commands/CommandLine.h"

#include <archive.h>

namespace oxarchive {

const char* const helpText =
    R"help(Usage: oxarchive extract ARCHIVE... [--into DIR] [--trash] [PASSWORD] [LIMIT...]
       oxarchive list ARCHIVE... [--long | --cbor] [PASSWORD] [LIMIT...]
       oxarchive create ARCHIVE PATH... [--level LEVEL]
                        [PASSWORD [--method METHOD]]
       oxarchive --help | --version

extract puts what is in each archive into a new folder of its own, named after
it and beside it, and overwrites nothing. Any volume of a split archive will do.
Links that lead out of the folder are made last, and counted; names with ".."
in them, devices, pipes and sockets are refused.
An extract that is interrupted keeps what it has by then, and says so.

  --into DIR   make the folders in DIR, which is made when it is missing
  --trash      move each archive that was extracted whole to the Trash

list shows flags ("d" for a folder, "e" for encrypted), size, time of the last
change, kind and path of each entry, then the totals.

  --long       modes, sizes in bytes, times in ISO 8601 and where links lead
  --cbor       the records of the entries, as a sequence of CBOR items

create packs each PATH under its last component into a new archive. The end of
its name decides the format: .tar, .tar.gz or .tgz, .tar.bz2, .tbz2 or .tbz,
.tar.xz or .txz, .tar.zst or .tzst, .zip, .7z. It appears only when it is whole.

  --level LEVEL     fastest, normal, best, or a number: 1 to 9 for gzip and
                    bzip2, 0 to 9 for xz, ZIP and 7-Zip, 1 to 22 for zstd
  --method METHOD   how a ZIP archive is encrypted: aes256 (the default),
                    aes128, or zipcrypt, which is weak but known everywhere

PASSWORD, for ZIP archives alone, is one of these:

  --password             ask for it on the terminal
  --password-file FILE   the first line of FILE; "-" is standard input
  --password-env NAME    the environment variable NAME

A process of its own reads an archive, and keeps, as far as the system lets it,
only the archive's files and the new folder (Landlock), the system calls for
files (seccomp), and no core dumps and new privileges. LIMIT is one of these;
SIZE is in bytes, or ends in K, M, G or T:

  --memory SIZE        address space of that process; 2G if it is not given
  --patience SECONDS   give up after as many seconds of its processor time in
                       which it read no entry and wrote no byte; 60 if not given
  --max-entries N      read no more entries than these
  --max-size SIZE      extract no more than this; list takes no notice

  --           what follows are archives and paths, even if it begins with "-"
  -h, --help   show this text
  --version    show the versions of this program and its libraries

Exit status: 0 when all went well, 1 when something could not be extracted,
listed, packed or moved to the Trash, 2 when the command line is wrong. The
formats, and the environment variables, are in the manual, oxarchive(1).)help";

std::string versionText() {
  return "oxarchive " OXARCHIVE_VERSION "\nOrvexKit " OXARCHIVE_VERSION "\n" +
         std::string(::archive_version_details());
}

}  // namespace oxarchive
