#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

#include <variant>

namespace fetra::torrent {

/// One transfer, as asked for on the command line.
struct Arguments {
    /// The path of the folder that the content goes to.
    QByteArray folder = {};
    /// A magnet link, or the path of a `.torrent` file.
    QByteArray source = {};
    /// Kilobytes (1,024 bytes) a second; 0: nothing is ever uploaded.
    qint64 uploadLimitKB = 0;
    /// Kilobytes (1,024 bytes) a second; 0: no limit.
    qint64 downloadLimitKB = 0;
    bool seed = false;

    [[nodiscard]] bool isMagnet() const { return source.toLower().startsWith("magnet:"); }
};

struct ShowHelp {};
struct ShowVersion {};
struct UsageError {
    QString sentence;
};

/// `words` without the name of the program.
[[nodiscard]] std::variant<Arguments, ShowHelp, ShowVersion, UsageError>
parseArguments(const QByteArrayList& words);

[[nodiscard]] QByteArray helpPage();

} // namespace fetra::torrent
