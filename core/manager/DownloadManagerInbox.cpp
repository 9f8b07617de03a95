// The inboxes where other programs leave their links.

#include "manager/DownloadManager.h"

#include "browser/CaptureJob.h"
#include "browser/InboxFolders.h"
#include "system/AtomicFile.h"
#include "system/MainThread.h"
#include "system/MakeFolder.h"
#include "system/PosixError.h"
#include "system/StandardFolders.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

QStringList jobFiles(const QString& folder) {
    QStringList paths;
    QDirIterator entries(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    while (entries.hasNext()) {
        const QString path = entries.next();
        if (QFileInfo(path).suffix() == QLatin1StringView(CaptureJob::fileExtension))
            paths.append(path);
    }
    return paths;
}

QString withHomeExpanded(const QString& path) {
    return path == u"~"_s || path.startsWith(u"~/"_s) ? StandardFolders::home() + path.sliced(1) : path;
}

std::optional<QString> textOrNothing(const QString& text) {
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

} // namespace

std::optional<QUrl> DownloadManager::inboxURL() {
    const std::optional<QString> folder = InboxFolders::application();
    return folder ? std::optional(QUrl::fromLocalFile(*folder)) : std::nullopt;
}

QList<QUrl> DownloadManager::inboxURLs() {
    QList<QUrl> urls;
    for (const QString& folder : InboxFolders::all())
        urls.append(QUrl::fromLocalFile(folder));
    return urls;
}

void DownloadManager::startInbox() {
    if (inboxes_.isEmpty())
        return;
    connect(&inboxSources_, &QFileSystemWatcher::directoryChanged, this, [this] {
        watchInboxes();
        ingestInbox();
    });
    watchInboxes();
    ingestInbox();
}

/// Also makes and watches again what somebody has deleted meanwhile.
void DownloadManager::watchInboxes() {
    for (const QUrl& inbox : inboxes_) {
        const QString folder = inbox.toLocalFile();
        try {
            MakeFolder::withParents(folder);
        } catch (const PosixError&) {
            continue; // Not watched; read all the same.
        }
        if (!inboxSources_.directories().contains(folder))
            inboxSources_.addPath(folder);
    }
}

void DownloadManager::ingestInbox() {
    Q_ASSERT(MainThread::isCurrent());
    QStringList taken;
    {
        const Batch batch(*this);
        for (const QUrl& inbox : inboxes_) {
            for (const QString& path : jobFiles(inbox.toLocalFile())) {
                const std::optional<QByteArray> content = AtomicFile::read(path, CaptureJob::maxFileBytes);
                if (const std::optional<CaptureJob> job = CaptureJob::parse(content.value_or(QByteArray())))
                    ingest(*job);
                taken.append(path);
            }
        }
    }
    // Only now are the downloads in the list on disk.
    for (const QString& path : taken)
        QFile::remove(path);
}

void DownloadManager::ingest(const CaptureJob& job) {
    if (hasUnfinished(job.url))
        return;
    NewDownload download{
        .url = job.url, .headers = job.headers(), .filenameHint = textOrNothing(job.filename)};
    // A relative path would be relative to wherever this process was started.
    const QString folder = withHomeExpanded(job.directory);
    if (QDir::isAbsolutePath(folder))
        download.directory = QUrl::fromLocalFile(QDir::cleanPath(folder));
    add(download);
}

} // namespace fetra
