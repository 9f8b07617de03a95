#pragma once

#include "manager/DownloadManager.h"

#include <QList>
#include <QString>

namespace fetra {

/// What the inspector says of one download, as texts and values. Main thread only.
namespace InspectorFacts {

struct Fact {
    QString label;
    QString value;

    bool operator==(const Fact&) const = default;
};

enum class SegmentState { done, active, waiting };

struct SegmentFacts {
    QString title;
    QString range;
    /// Empty while the end is unknown.
    QString percent;
    /// Empty unless the download has mirrors.
    QString source;
    SegmentState state = SegmentState::waiting;
};

/// Rounded down, so that only what is whole is 100. `fraction` from 0 to 1.
[[nodiscard]] int percent(double fraction);
/// For example "40%".
[[nodiscard]] QString percentText(double fraction);
/// Where it comes from, in a word: "magnet", or the host of its address.
[[nodiscard]] QString sourceHost(const DownloadItem& item);
/// The present rate, or that there is none.
[[nodiscard]] QString throughput(const DownloadItem& item);
[[nodiscard]] QString throughputHelp(const DownloadItem& item);

/// `average` in bytes per second.
[[nodiscard]] QList<Fact> statistics(const DownloadItem& item, double average);

/// Of a range of the item, at `index` from 0.
[[nodiscard]] SegmentFacts segment(const DownloadItem& item, const SegmentSnapshot& range, qsizetype index);
[[nodiscard]] QString segmentStateText(SegmentState state);
/// In place of segments where there are none.
[[nodiscard]] QString withoutSegments(const DownloadItem& item);

/// `limitKB` in KB/s; 0 means that nothing is uploaded.
[[nodiscard]] QString uploadCap(qint64 limitKB);

inline constexpr qint64 maxConnections = 64;

/// Whether its transfer settings may be changed: no transfer is using them.
[[nodiscard]] bool isEditable(const DownloadItem& item);
/// Takes the nearest count that is allowed, and saves it. Leaves a download that runs as it is.
void setConnections(DownloadManager& manager, DownloadItem& item, qint64 connections);

/// Where the lines of a chart stand that holds rates up to `largest`: from 0 in equal steps that read well,
/// at most five of them, the last one at or above `largest`. In bytes per second.
[[nodiscard]] QList<double> rateTicks(double largest);

} // namespace InspectorFacts
} // namespace fetra
