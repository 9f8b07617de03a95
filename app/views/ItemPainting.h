#pragma once

#include "manager/DownloadItem.h"

#include <QFont>
#include <QPainter>
#include <QPalette>
#include <QRectF>
#include <QSize>

/// Drawings of one download that the table and the inspector share.
namespace fetra::ItemPainting {

struct SegmentBarLook {
    QPalette palette;
    /// Every running request is marked where it writes, unless the user wants less motion.
    bool marksActiveEnds = true;
};

/// The whole file as one bar, each range's fetched part in its place.
void paintSegmentBar(QPainter& painter, const QRectF& rect, const DownloadItem& item,
                     const SegmentBarLook& look);
/// What a screen reader says of it, for example "40 percent, 3 of 8".
[[nodiscard]] QString segmentBarValue(const DownloadItem& item);

/// How much room the longest status takes as a pill.
[[nodiscard]] QSize pillSize(const QFont& font);
/// The status as text, centred, in a filled capsule when `filled`.
void paintStatusPill(QPainter& painter, const QRectF& rect, DownloadStatus status, const QPalette& palette,
                     bool filled);

/// Whether the desktop asks for less motion.
[[nodiscard]] bool wantsReducedMotion();

} // namespace fetra::ItemPainting
