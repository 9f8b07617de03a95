#include "app/views/DownloadTableRow.h"

#include "app/model/InspectorFacts.h"
#include "app/views/ItemPainting.h"
#include "app/views/Theme.h"
#include "transfer/ByteFormat.h"

#include <QCoreApplication>
#include <QLocale>

#include <limits>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("fetra::DownloadTable", text);
}

} // namespace

DownloadTableRow::DownloadTableRow(const DownloadManager::Item& shown)
    : id(shown->id())
    , item(shown)
    , added(shown->addedAt()) {
    update();
}

void DownloadTableRow::update() {
    if (name != item->filename())
        nameKey.reset();
    name = item->filename();
    size = item->totalBytes().value_or(-1);
    progress = item->fraction();
    speed = item->isActive() ? item->bytesPerSecond() : 0;
    connections = item->isTorrent() ? item->peers() : item->isActive() ? item->activeConnections() : 0;
    status = Theme::statusText(item->status());
}

std::strong_ordering DownloadTableRow::compare(const DownloadTableRow& other, DownloadColumn column) const {
    switch (column) {
    case DownloadColumn::name:
        return nameKey->compare(*other.nameKey) <=> 0;
    case DownloadColumn::size:
        return size <=> other.size;
    case DownloadColumn::progress:
    case DownloadColumn::segments:
        return std::strong_order(progress, other.progress);
    case DownloadColumn::speed:
        return std::strong_order(speed, other.speed);
    case DownloadColumn::connections:
        return connections <=> other.connections;
    case DownloadColumn::status:
        return status.compare(other.status) <=> 0;
    case DownloadColumn::added:
        return added.toMSecsSinceEpoch() <=> other.added.toMSecsSinceEpoch();
    }
    return std::strong_ordering::equivalent;
}

QString DownloadTableRow::text(DownloadColumn column) const {
    switch (column) {
    case DownloadColumn::name:
        return name;
    case DownloadColumn::size:
        return size < 0 ? tr("Unknown") : ByteFormat::size(size);
    case DownloadColumn::progress:
        return remainingTime();
    case DownloadColumn::speed:
        return item->isActive() ? ByteFormat::rate(speed) : QString();
    case DownloadColumn::segments:
        return {};
    case DownloadColumn::connections:
        if (item->isTorrent())
            return tr("%1 peers, %2 seeds").arg(item->peers()).arg(item->seeds());
        return item->isActive() ? tr("%1 of %2").arg(item->activeConnections()).arg(item->connectionLimit())
                                : QString();
    case DownloadColumn::status:
        return status;
    case DownloadColumn::added:
        return QLocale().toString(added.toLocalTime(), QLocale::ShortFormat);
    }
    return {};
}

QString DownloadTableRow::toolTip(DownloadColumn column) const {
    switch (column) {
    case DownloadColumn::progress:
    case DownloadColumn::segments:
        return size < 0
                   ? ByteFormat::size(item->receivedBytes())
                   : tr("%1 of %2 (%3)")
                         .arg(ByteFormat::size(item->receivedBytes()), ByteFormat::size(size), percent());
    case DownloadColumn::status:
        return item->status() == DownloadStatus::failed ? item->errorMessage().value_or(status) : status;
    case DownloadColumn::added:
        return QLocale().toString(added.toLocalTime(), QLocale::LongFormat);
    case DownloadColumn::name:
    case DownloadColumn::size:
    case DownloadColumn::speed:
    case DownloadColumn::connections:
        break;
    }
    return text(column);
}

QString DownloadTableRow::accessibleText(DownloadColumn column) const {
    switch (column) {
    case DownloadColumn::name: {
        QStringList parts{name, status, percent()};
        if (item->isActive())
            parts += {ByteFormat::rate(speed), tr("%1 left").arg(remainingTime())};
        return parts.join(u", "_s);
    }
    case DownloadColumn::progress:
        return item->isActive() ? tr("%1, %2 left").arg(percent(), remainingTime()) : percent();
    case DownloadColumn::segments:
        return ItemPainting::segmentBarValue(*item);
    case DownloadColumn::size:
    case DownloadColumn::speed:
    case DownloadColumn::connections:
    case DownloadColumn::status:
    case DownloadColumn::added:
        break;
    }
    return text(column);
}

QString DownloadTableRow::remainingTime() const {
    if (!item->isActive())
        return {};
    return ByteFormat::duration(item->eta().value_or(std::numeric_limits<double>::quiet_NaN()));
}

QString DownloadTableRow::percent() const {
    return tr("%1 percent").arg(InspectorFacts::percent(progress));
}

} // namespace fetra
