#include "GetPlan.h"

#include "cli/ArgumentValues.h"
#include "cli/OutputTarget.h"
#include "links/LinkParser.h"
#include "system/AbsoluteURL.h"
#include "torrent/TorrentDownloader.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

constexpr qint64 maxInputBytes = 16 * 1024 * 1024;

template <typename T>
using Read = ArgumentValues::Read<T>;

Read<QList<QUrl>> linksIn(const QString& input) {
    const bool isStandardInput = input == "-"_L1;
    const QString shown = isStandardInput ? u"standard input"_s : ArgumentValues::quoted(input);
    QFile file(input);
    if (!(isStandardInput ? file.open(STDIN_FILENO, QFile::ReadOnly) : file.open(QFile::ReadOnly)))
        return UsageError{
            u"%1 cannot be read (%2); name another file with -i."_s.arg(shown, file.errorString())};
    const QByteArray text = file.read(maxInputBytes + 1);
    if (file.error() != QFile::NoError)
        return UsageError{
            u"%1 cannot be read (%2); name another file with -i."_s.arg(shown, file.errorString())};
    if (text.size() > maxInputBytes)
        return UsageError{
            u"There is more than 16 MiB of text in %1; give it in smaller pieces."_s.arg(shown)};
    QList<QUrl> links = LinkParser::extract(QString::fromUtf8(text));
    if (links.isEmpty())
        return UsageError{
            u"There is no link in %1; it takes text with addresses that begin with https:// or magnet:."_s
                .arg(shown)};
    return links;
}

/// What can only be said of one file.
std::optional<UsageError> whyNotForAll(const GetRequest& request, const GetPlan& plan) {
    const QString several =
        plan.urls.isEmpty() ? u"none is given"_s : u"there are %1"_s.arg(plan.urls.size());
    if (plan.urls.size() == 1)
        return std::nullopt;
    if (!request.mirrors.isEmpty())
        return UsageError{u"--mirror goes with one address, and %1; leave it out."_s.arg(several)};
    if (request.options.expectedSHA256)
        return UsageError{u"--sha256 goes with one address, and %1; leave it out."_s.arg(several)};
    if (plan.hasFileTarget())
        return UsageError{
            u"-o names a file, which goes with one address, and %1; name a folder that exists, or one that "
            "ends in /."_s.arg(several)};
    return std::nullopt;
}

/// What cannot be said of a torrent, whose content the torrent itself describes.
std::optional<UsageError> whyNotForATorrent(const GetRequest& request, const GetPlan& plan) {
    const bool isTorrent = plan.urls.size() == 1 && TorrentDownloader::isTorrentSource(plan.urls.front());
    if (isTorrent && request.options.expectedSHA256)
        return UsageError{
            u"--sha256 is of one file on a server, and a torrent brings check sums of its own; leave it out."_s};
    if (isTorrent && !request.mirrors.isEmpty())
        return UsageError{u"--mirror is of one file on a server, and a torrent has peers; leave it out."_s};
    return std::nullopt;
}

} // namespace

std::optional<UsageError> whyNotThere(const QUrl& url) {
    const QString path = url.toLocalFile();
    if (!url.isLocalFile() || QFileInfo(path).isFile())
        return std::nullopt;
    return UsageError{u"There is no torrent file %1; write https:// in front if it is a web address."_s.arg(
        ArgumentValues::quoted(path))};
}

std::variant<GetPlan, UsageError> planFor(const GetRequest& request, const QString& currentFolder) {
    GetPlan plan;
    QList<QUrl> links = request.urls;
    for (const QString& input : request.inputs) {
        const Read<QList<QUrl>> found = linksIn(input);
        if (const auto* error = std::get_if<UsageError>(&found))
            return *error;
        links += std::get<QList<QUrl>>(found);
    }
    QSet<QString> seen;
    for (const QUrl& url : links) {
        if (const auto error = whyNotThere(url))
            return *error;
        const qsizetype before = seen.size();
        seen += absoluteString(url);
        if (seen.size() > before)
            plan.urls += url;
    }
    const auto target = outputTarget(request.output, currentFolder);
    if (const auto* error = std::get_if<UsageError>(&target))
        return *error;
    plan.target = std::get<QUrl>(target);
    if (const auto error = whyNotForAll(request, plan))
        return *error;
    if (const auto error = whyNotForATorrent(request, plan))
        return *error;
    if (request.state) {
        const QFileInfo state(*request.state);
        if (state.exists() && !state.isFile())
            return UsageError{u"--state names a file, and %1 is none; name another one."_s.arg(
                ArgumentValues::quoted(*request.state))};
        plan.statePath = state.absoluteFilePath();
    }
    return plan;
}

} // namespace fetra::cli
