#include "helpers/torrent/StatusReport.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <libtorrent/torrent_info.hpp>

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <unistd.h>

namespace fetra::torrent {

using namespace Qt::StringLiterals;

namespace {

/// A reader that stands still costs us this line, never our own end: the rest of a line that has begun is
/// waited for, but a pipe that is ready takes a whole line of usual length at once.
bool write(const QJsonObject& object, int patienceMilliseconds) {
    const QByteArray line = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    pollfd output{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
    if (::poll(&output, 1, patienceMilliseconds) <= 0)
        return true;
    if ((output.revents & (POLLERR | POLLNVAL)) != 0)
        return false;
    for (qsizetype written = 0; written < line.size();) {
        const ssize_t count =
            ::write(STDOUT_FILENO, line.constData() + written, static_cast<size_t>(line.size() - written));
        if (count < 0 && errno != EINTR)
            return false;
        written += std::max<ssize_t>(count, 0);
    }
    return true;
}

QJsonObject objectOf(const Figures& figures) {
    QJsonObject object{{u"total"_s, figures.total},      {u"completed"_s, figures.completed},
                       {u"peers"_s, figures.peers},      {u"seeds"_s, figures.seeds},
                       {u"rate"_s, figures.rate},        {u"upload"_s, figures.upload},
                       {u"uploaded"_s, figures.uploaded}};
    if (!figures.name.isEmpty())
        object.insert(u"name"_s, figures.name);
    return object;
}

} // namespace

Figures Figures::of(const lt::torrent_status& status, bool complete) {
    Figures figures{.peers = status.num_peers,
                    .seeds = status.num_seeds,
                    .rate = status.download_payload_rate,
                    .upload = status.upload_payload_rate,
                    .uploaded = status.all_time_upload};
    const std::shared_ptr<const lt::torrent_info> info = status.torrent_file.lock();
    if (!info)
        return figures;
    const lt::file_storage& files = info->files();
    figures.name = QString::fromStdString(files.name());
    for (const lt::file_index_t file : files.file_range())
        figures.total += files.pad_file_at(file) ? 0 : files.file_size(file);
    figures.completed =
        complete ? figures.total
                 : std::clamp<qint64>(status.total_done, 0, std::max<qint64>(figures.total - 1, 0));
    return figures;
}

bool StatusReport::status(const Figures& figures) {
    return write(objectOf(figures), 0);
}

bool StatusReport::done(const Figures& figures) {
    QJsonObject object = objectOf(figures);
    object.insert(u"type"_s, u"done"_s);
    return write(object, 1'000);
}

bool StatusReport::error(const QString& sentence) {
    return write({{u"type"_s, u"error"_s}, {u"error"_s, sentence}}, 1'000);
}

} // namespace fetra::torrent
