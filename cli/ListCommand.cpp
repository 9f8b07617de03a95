#include "ListCommand.h"

#include "cli/ArgumentValues.h"
#include "cli/DisplayText.h"
#include "cli/JsonView.h"
#include "cli/StandardStreams.h"
#include "manager/DownloadManager.h"
#include "manager/StateFile.h"
#include "system/AbsoluteURL.h"
#include "transfer/ByteFormat.h"

#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

/// The record without what only the server it is for may see.
QJsonObject publicJson(DownloadRecord record) {
    record.headers.reset();
    record.url.setUserInfo({});
    for (QUrl& mirror : record.mirrors)
        mirror.setUserInfo({});
    return record.toJson();
}

QString progressText(const DownloadRecord& record) {
    if (record.status == DownloadStatus::completed || record.totalBytes == record.receivedBytes)
        return ByteFormat::size(record.receivedBytes);
    const QString received = ByteFormat::size(record.receivedBytes);
    return record.totalBytes ? u"%1 of %2"_s.arg(received, ByteFormat::size(*record.totalBytes)) : received;
}

QByteArray table(const QList<DownloadRecord>& records) {
    constexpr int statusWidth = 12;
    QStringList sizes;
    qsizetype sizeWidth = 0;
    for (const DownloadRecord& record : records) {
        sizes += progressText(record);
        sizeWidth = std::max(sizeWidth, sizes.last().size());
    }
    QString text;
    for (qsizetype i = 0; i < records.size(); ++i) {
        const DownloadRecord& record = records[i];
        text += statusText(record.status).leftJustified(statusWidth) + sizes[i].rightJustified(sizeWidth) +
                u"  "_s + DisplayText::printable(record.filename);
        if (record.errorMessage)
            text += u": "_s + DisplayText::printable(*record.errorMessage);
        text += u'\n';
    }
    return text.toUtf8();
}

ExitStatus fail(const QString& sentence) {
    writeAll(STDERR_FILENO, u"fetra: %1\n"_s.arg(sentence).toUtf8());
    return ExitStatus::failed;
}

} // namespace

ExitStatus runList(const ListRequest& request) {
    QString path = request.state.value_or(QString());
    if (!request.state) {
        const std::optional<QUrl> store = DownloadManager::defaultStoreURL();
        if (!store)
            return fail(u"The system names no folder for the data of applications."_s);
        path = store->toLocalFile();
    }
    const QString shown = ArgumentValues::quoted(path);
    const std::optional<ManagerState> state = StateFile(path).load();
    if (!state && !QFileInfo::exists(path))
        return fail(request.state ? u"There is no list %1."_s.arg(shown)
                                  : u"The application has no list yet."_s);
    if (!state)
        return fail(u"%1 cannot be read as a list of downloads."_s.arg(shown));
    if (!request.json) {
        writeAll(STDOUT_FILENO,
                 state->items.isEmpty() ? QByteArray("The list is empty.\n") : table(state->items));
        return ExitStatus::complete;
    }
    for (const DownloadRecord& record : state->items)
        writeAll(STDOUT_FILENO, jsonText(publicJson(record), false));
    return ExitStatus::complete;
}

} // namespace fetra::cli
