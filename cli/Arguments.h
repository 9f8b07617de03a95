#pragma once

#include "system/Log.h"
#include "transfer/DownloadOptions.h"

#include <QByteArrayList>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>
#include <variant>

namespace fetra::cli {

enum class OutputStyle {
    /// Progress for people on standard error, the finished path on standard output.
    plain,
    /// The finished path alone.
    quiet,
    /// An event a line on standard output.
    json,
    /// The same without progress events.
    quietJson,
};

struct GetRequest {
    /// Web addresses, magnet links and .torrent files, each once.
    QList<QUrl> urls;
    /// Files with text to take links from; "-" is standard input.
    QStringList inputs;
    QList<QUrl> mirrors;
    /// As typed; empty for the current folder.
    QString output;
    DownloadOptions options;
    /// The number of connections was given rather than left to the settings.
    bool hasConnections = false;
    std::optional<qint64> maxDownloads;
    /// The state file, as typed.
    std::optional<QString> state;
    /// In KB (1,024 bytes) a second.
    std::optional<qint64> uploadLimitKB;
    bool seed = false;
    OutputStyle style = OutputStyle::plain;
    LogLevel logLevel = LogLevel::warn;
};

struct AddRequest {
    QList<QUrl> urls;
    /// As typed; empty for the application's own choice.
    QString output;
    QString name;
    LogLevel logLevel = LogLevel::warn;
};

struct ListRequest {
    /// As typed; the application's when absent.
    std::optional<QString> state;
    bool json = false;
    LogLevel logLevel = LogLevel::warn;
};

struct ProbeRequest {
    QUrl url;
    DownloadOptions options;
    LogLevel logLevel = LogLevel::warn;
};

struct ShowHelp {};
struct ShowVersion {};
/// Nothing was asked for.
struct ShowUsage {};

/// Why a command line makes no sense: one sentence with what to write instead. Never holds a password, a
/// query or the value of a header.
struct UsageError {
    QString sentence;
};

using ParsedArguments = std::variant<GetRequest, AddRequest, ListRequest, ProbeRequest, ShowHelp, ShowVersion,
                                     ShowUsage, UsageError>;

/// What the command line asks for, without a look at what is on the disk. `arguments` leave out the program's
/// name.
[[nodiscard]] ParsedArguments parseArguments(const QByteArrayList& arguments);

} // namespace fetra::cli
