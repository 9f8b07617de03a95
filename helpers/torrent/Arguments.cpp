#include "helpers/torrent/Arguments.h"

#include <optional>

namespace fetra::torrent {

using namespace Qt::StringLiterals;

namespace {

std::optional<qint64> limit(const QByteArray& word) {
    bool isNumber = false;
    const qint64 value = word.toLongLong(&isNumber, 10);
    return isNumber && value >= 0 ? std::optional(value) : std::nullopt;
}

/// Fills in what `option` stands for; false for a value that makes no sense.
bool apply(const QByteArray& option, const QByteArray& value, Arguments& arguments) {
    if (option == "-o") {
        arguments.folder = value;
        return !value.isEmpty();
    }
    qint64& field = option == "-upload-limit" ? arguments.uploadLimitKB : arguments.downloadLimitKB;
    const std::optional<qint64> number = limit(value);
    field = number.value_or(0);
    return number.has_value();
}

bool takesValue(const QByteArray& word) {
    return word == "-o" || word == "-upload-limit" || word == "-download-limit";
}

} // namespace

std::variant<Arguments, ShowHelp, ShowVersion, UsageError> parseArguments(const QByteArrayList& words) {
    Arguments arguments;
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QByteArray& word = words[i];
        if (word == "--help")
            return ShowHelp{};
        if (word == "--version")
            return ShowVersion{};
        if (takesValue(word)) {
            if (i + 1 == words.size() || !apply(word, words[i + 1], arguments))
                return UsageError{
                    u"The option %1 lacks a value that it can use."_s.arg(QString::fromUtf8(word))};
            ++i;
        } else if (word == "-seed") {
            arguments.seed = true;
        } else if (word.isEmpty() || word.startsWith('-')) {
            return UsageError{u"There is no option \"%1\"."_s.arg(QString::fromUtf8(word))};
        } else if (!arguments.source.isEmpty()) {
            return UsageError{u"One magnet link or torrent file is transferred at a time."_s};
        } else {
            arguments.source = word;
        }
    }
    if (arguments.folder.isEmpty())
        return UsageError{u"The folder for the content is missing (-o)."_s};
    if (arguments.source.isEmpty())
        return UsageError{u"A magnet link or a torrent file is missing."_s};
    return arguments;
}

QByteArray helpPage() {
    return R"(usage: fetra-torrent -o FOLDER [-upload-limit KB] [-download-limit KB] [-seed] SOURCE

Downloads one torrent into FOLDER. SOURCE is a magnet link or the path of a .torrent file.

  -o FOLDER             where the content goes, under the torrent's own name
  -upload-limit KB      kilobytes (1,024 bytes) a second; 0, which is the default, uploads nothing at all
  -download-limit KB    kilobytes a second; 0, which is the default, sets no limit
  -seed                 go on uploading until as much was uploaded as the content is long; needs an upload limit
  --help, --version

Standard output is a JSON object a line, at least one a second: name, total, completed, peers, seeds, rate,
upload and uploaded, in bytes and bytes a second. "type" is "done" in the last line of a finished transfer,
and "error" in that of a failed one, with a sentence in "error".

SIGTERM, SIGINT, and the end of the starting program or of its interest in the output end the transfer within
five seconds. The same command then continues it. What is needed for that lies in Fetra/torrents below
$XDG_DATA_HOME (~/.local/share).

Environment:
  FETRA_TORRENT_LOCAL=1               speak with this computer only, and without DHT and peer exchange
  FETRA_TORRENT_LISTEN=ADDRESS:PORT   where other peers reach this one

Exit status: 0 finished or stopped, 1 failed, 2 wrong usage.
)";
}

} // namespace fetra::torrent
