#include "HelpText.h"

namespace fetra::cli {

QByteArray HelpText::page() {
    return R"page(fetra - download files over many connections at once

USAGE
  fetra [get] URL... [options]      download web addresses, magnet links and
                                    .torrent files
  fetra add URL... [-o FOLDER] [--name NAME]
                                    hand them over to the running application
  fetra list [--json] [--state FILE]
                                    show the application's list, or FILE's
  fetra probe URL [options]         print what the server says about a file,
                                    as JSON
  fetra help                        show this page

OPTIONS
  -o, --output PATH            where the file goes: a folder (one that exists,
                               or a path that ends in "/" to make one) or the
                               file itself, for a single URL; the current
                               folder if left out
  -i, --input FILE             take the links out of the text in FILE, in
                               whatever form it is; "-" for standard input
  -j, --max-downloads N        downloads at the same time, 1 to 100; 3 if left
                               out
  -x, --connections N          connections at the same time, 1 to 64; 16 if left
                               out, and fewer where the server allows fewer;
                               of each download
      --state FILE             keep the list and its settings in FILE; without
                               a URL: go on with what is not complete there
  -m, --mirror URL             another address of the same file, used once
                               samples of its bytes match; may be repeated;
                               for a single URL
      --sha256 HEX             the digest that the file must have, 64 digits;
                               for a single URL
  -H, --header 'Name: value'   send this header too; may be repeated
                               (also for probe)
      --upload-limit KB        of torrents, a second; 64 if left out, 0: none
      --seed                   go on uploading torrents for a while when they
                               are complete
      --no-resume              start from the beginning, and keep no resume data
      --json                   one JSON object per line on standard output
  -q, --quiet                  no progress; with --json: no progress events
      --log LEVEL              messages on standard error from this level on:
                               debug, info, warn (if left out), error
                               (for every command)
  -h, --help                   show this page
      --version                show the version

  Options stand before or after the URL. "--" ends them.

EXAMPLES
  fetra https://example.com/disk.iso
  fetra https://example.com/disk.iso -o ~/Downloads/ -x 8
  fetra https://example.com/disk.iso -m https://mirror.example.org/disk.iso
  fetra https://example.com/disk.iso --sha256 "$(cut -c1-64 disk.iso.sha256)"
  fetra https://example.com/private.zip -H "Cookie: session=$SESSION"
  path=$(fetra -q https://example.com/disk.iso) && ls -l "$path"
  fetra -i links.txt -j 5 -o ~/Downloads/ --state ~/links.json
  fetra --state ~/links.json

OUTPUT
  Progress is written to standard error: one block that is drawn in place on a
  terminal, else a line a second at most. Several downloads have a line each
  and one for all; what has ended scrolls up as a line that says how. The lines
  on standard output are the paths of the finished files. An existing file is
  never overwritten: the new one becomes "NAME (1)". Colours are left out when
  NO_COLOR is set.

  With --json the events are objects with a field "event", the "url" (without
  user name and password), and an "id" that tells downloads apart:
    start      path, name, total, ranges, connections, mirrors, resume
    progress   receivedBytes, totalBytes, fraction, bytesPerSecond, eta,
               activeConnections, connectionLimit
    complete   path, destination, bytes, bytesThisSession, resumedFrom, elapsed,
               averageBytesPerSecond, peakConnections, mirrorsUsed, sha256
    failed     error, interrupted, resumable
  Sizes are in bytes, times in seconds; what is not known is left out.

STOPPING AND CONTINUING
  While a download runs, two files stand beside where it will go:
    NAME.part     the data, at its full size from the start
    NAME.fetra    which parts of it are there already
  Ctrl-C saves both; Ctrl-C again ends at once. The same command continues from
  what is there, also after a failure or a crash, as long as the server still
  offers the same file and supports ranges. A file gets its real name only when
  it is whole and, with --sha256, its digest is right. To give a download up,
  delete the two files. Of several, those that are complete would be fetched
  again; --state keeps a list that knows them. A state file serves one fetra at
  a time.

EXIT STATUS
  0    all files are complete
  1    a download failed; a sentence on standard error says which and why
  2    wrong usage; a sentence on standard error says what to write instead
  130  ended by Ctrl-C, SIGTERM or SIGHUP
)page";
}

QByteArray HelpText::usage() {
    return "Usage: fetra [get] URL... [options]    download files\n"
           "       fetra add URL... [options]      hand them to the application\n"
           "       fetra list [options]            show the application's list\n"
           "       fetra probe URL [options]       print what the server says\n"
           "       fetra --help                    all options, with examples\n";
}

QByteArray HelpText::version() {
    return "fetra " FETRA_VERSION "\n";
}

} // namespace fetra::cli
