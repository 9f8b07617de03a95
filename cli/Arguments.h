#pragma once

#include "system/Log.h"
#include "transfer/DownloadOptions.h"

#include <QByteArrayList>
#include <QList>
#include <QUrl>

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
    QUrl url;
    QList<QUrl> mirrors;
    /// As typed; empty for the current folder.
    QString output;
    DownloadOptions options;
    OutputStyle style = OutputStyle::plain;
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

using ParsedArguments = std::variant<GetRequest, ProbeRequest, ShowHelp, ShowVersion, ShowUsage, UsageError>;

/// What the command line asks for, without a look at the disk. `arguments` leave out the program's name.
[[nodiscard]] ParsedArguments parseArguments(const QByteArrayList& arguments);

} // namespace fetra::cli
