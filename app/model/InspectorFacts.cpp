#include "app/model/InspectorFacts.h"

#include "transfer/ByteFormat.h"

#include <QCoreApplication>
#include <QLocale>

#include <algorithm>
#include <cmath>

namespace fetra::InspectorFacts {

using namespace Qt::StringLiterals;

namespace {

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(Inspector)
};

QString dateText(const QDateTime& date) {
    return QLocale().toString(date.toLocalTime(), QLocale::ShortFormat);
}

QString ratio(const DownloadItem& item) {
    if (item.receivedBytes() <= 0)
        return QString::number(0.0, 'f', 2);
    return QString::number(
        static_cast<double>(item.uploadedBytes()) / static_cast<double>(item.receivedBytes()), 'f', 2);
}

SegmentState stateOf(const DownloadItem& item, const SegmentSnapshot& segment) {
    if (segment.end >= 0 && segment.current > segment.end)
        return SegmentState::done;
    return segment.active && item.isActive() ? SegmentState::active : SegmentState::waiting;
}

} // namespace

int percent(double fraction) {
    constexpr double roundingError = 1e-9;
    return static_cast<int>(fraction * 100 + roundingError);
}

QString percentText(double fraction) {
    return Texts::tr("%1%").arg(percent(fraction));
}

QString sourceHost(const DownloadItem& item) {
    return item.isTorrent() ? u"magnet"_s : item.url().host();
}

QString throughput(const DownloadItem& item) {
    return item.isActive() ? ByteFormat::rate(item.bytesPerSecond()) : Texts::tr("Idle");
}

QString throughputHelp(const DownloadItem& item) {
    return item.isTorrent() ? Texts::tr("Download and upload throughput over the last 120 seconds")
                            : Texts::tr("Download throughput over the last 120 seconds");
}

QList<Fact> statistics(const DownloadItem& item, double average) {
    const std::optional<qint64> total = item.totalBytes();
    QList<Fact> facts{
        {Texts::tr("Downloaded"), ByteFormat::size(item.receivedBytes())},
        {Texts::tr("Size"), total ? ByteFormat::size(*total) : Texts::tr("Unknown")},
        {Texts::tr("Progress"), percentText(item.fraction())},
    };
    if (item.isActive())
        facts.append({Texts::tr("Speed"), ByteFormat::rate(item.bytesPerSecond())});
    facts.append({Texts::tr("Average"), ByteFormat::rate(average)});
    // It stands there even while nothing is known, so that what follows stays in its place.
    if (item.isActive())
        facts.append({Texts::tr("Remaining"), ByteFormat::duration(item.eta().value_or(-1))});
    if (!item.isTorrent()) {
        facts.append({Texts::tr("Connections"),
                      Texts::tr("%1 of %2").arg(item.activeConnections()).arg(item.connectionLimit())});
        facts.append({Texts::tr("Segments"), QString::number(item.segments().size())});
    } else {
        facts.append({Texts::tr("Uploaded"), ByteFormat::size(item.uploadedBytes())});
        facts.append({Texts::tr("Ratio"), ratio(item)});
        facts.append({Texts::tr("Peers"), QString::number(item.peers())});
        facts.append({Texts::tr("Seeds"), QString::number(item.seeds())});
    }
    facts.append({Texts::tr("Added"), dateText(item.addedAt())});
    if (item.completedAt())
        facts.append({Texts::tr("Completed"), dateText(*item.completedAt())});
    return facts;
}

SegmentFacts segment(const DownloadItem& item, const SegmentSnapshot& range, qsizetype index) {
    SegmentFacts facts{
        .title = Texts::tr("Segment %1").arg(index + 1),
        .range = Texts::tr("%1 to %2")
                     .arg(ByteFormat::size(range.start),
                          range.end < 0 ? Texts::tr("unknown") : ByteFormat::size(range.end)),
        .percent = {},
        .source = {},
        .state = stateOf(item, range),
    };
    if (range.length() > 0) {
        const auto done = static_cast<double>(std::min(range.done(), range.length()));
        facts.percent = percentText(done / static_cast<double>(range.length()));
    }
    if (!item.mirrors().isEmpty())
        facts.source = Texts::tr("source %1").arg(range.source + 1);
    return facts;
}

QString segmentStateText(SegmentState state) {
    switch (state) {
    case SegmentState::done:
        return Texts::tr("Done");
    case SegmentState::active:
        return Texts::tr("Active");
    case SegmentState::waiting:
        break;
    }
    return Texts::tr("Waiting");
}

QString withoutSegments(const DownloadItem& item) {
    return item.status() == DownloadStatus::completed
               ? Texts::tr("All segments complete.")
               : Texts::tr("Segments appear when the transfer starts.");
}

QString uploadCap(qint64 limitKB) {
    return limitKB == 0 ? Texts::tr("Uploading disabled")
                        : Texts::tr("Upload capped at %1 KB/s").arg(limitKB);
}

bool isEditable(const DownloadItem& item) {
    return item.status() == DownloadStatus::paused || item.status() == DownloadStatus::queued ||
           item.status() == DownloadStatus::failed;
}

void setConnections(DownloadManager& manager, DownloadItem& item, qint64 connections) {
    const qint64 allowed = std::clamp<qint64>(connections, 1, maxConnections);
    if (!isEditable(item) || item.connections() == allowed)
        return;
    item.setConnections(allowed);
    manager.move({}, 0); // Nothing moves, and the list is saved.
}

QList<double> rateTicks(double largest) {
    constexpr double thousand = 1024;
    constexpr double mostSteps = 4;
    // Units step by 1,024: 250 and 500 of one, then 1 of the next.
    constexpr double steps[] = {1, 2, 5, 10, 20, 25, 50, 100, 200, 256, 512};
    double unit = thousand;
    while (largest > mostSteps * 512 * unit)
        unit *= thousand;
    const auto fits = [&](double each) { return each * unit * mostSteps >= largest; };
    const double step = *std::ranges::find_if(steps, fits) * unit;
    QList<double> ticks{0, step};
    while (ticks.last() < largest)
        ticks.append(ticks.last() + step);
    return ticks;
}

} // namespace fetra::InspectorFacts
