#include "app/views/ItemPainting.h"

#include "app/model/InspectorFacts.h"
#include "app/views/Theme.h"

#include <QApplication>
#include <QCoreApplication>
#include <QFontMetrics>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace fetra::ItemPainting {

namespace {

constexpr DownloadStatus statuses[] = {DownloadStatus::queued,      DownloadStatus::probing,
                                       DownloadStatus::downloading, DownloadStatus::paused,
                                       DownloadStatus::completed,   DownloadStatus::failed};
constexpr qreal activeEndWidth = 2;

/// From one byte offset to another, on whole device pixels, and never so thin that it vanishes.
QRectF partOf(const QRectF& rect, qreal from, qreal to, qreal scale) {
    const auto aligned = [scale](qreal x) { return std::round(x * scale) / scale; };
    const qreal left = aligned(rect.left() + rect.width() * std::clamp(from, 0.0, 1.0));
    const qreal right = aligned(rect.left() + rect.width() * std::clamp(to, 0.0, 1.0));
    return {left, rect.top(), std::max(right - left, 1 / scale), rect.height()};
}

QColor partColor(const DownloadItem& item, const QPalette& palette) {
    return Theme::statusColor(item.isActive() ? DownloadStatus::downloading : item.status(), palette);
}

void paintSegments(QPainter& painter, const QRectF& rect, const DownloadItem& item,
                   const SegmentBarLook& look) {
    const auto total = static_cast<qreal>(*item.totalBytes());
    const qreal scale = painter.device()->devicePixelRatioF();
    const QColor color = partColor(item, look.palette);
    for (const SegmentSnapshot& segment : item.segments()) {
        if (segment.done() <= 0)
            continue;
        const QRectF part = partOf(rect, static_cast<qreal>(segment.start) / total,
                                   static_cast<qreal>(segment.current) / total, scale);
        painter.fillRect(part, color);
        if (!segment.active || !look.marksActiveEnds)
            continue;
        QRectF end = part;
        end.setLeft(std::max(part.left(), part.right() - activeEndWidth));
        painter.fillRect(end, look.palette.color(QPalette::WindowText));
    }
}

} // namespace

void paintSegmentBar(QPainter& painter, const QRectF& rect, const DownloadItem& item,
                     const SegmentBarLook& look) {
    painter.save();
    QPainterPath outline;
    const qreal radius = std::min(rect.height() / 2, Theme::radius / 2);
    outline.addRoundedRect(rect, radius, radius);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(outline, Theme::track(look.palette));
    painter.setClipPath(outline);
    if (item.segments().isEmpty() || item.totalBytes().value_or(0) <= 0) {
        if (item.fraction() > 0)
            painter.fillRect(partOf(rect, 0, item.fraction(), painter.device()->devicePixelRatioF()),
                             partColor(item, look.palette));
    } else {
        paintSegments(painter, rect, item, look);
    }
    painter.restore();
}

QString segmentBarValue(const DownloadItem& item) {
    const int percent = InspectorFacts::percent(item.fraction());
    if (!item.isActive())
        return QCoreApplication::translate("SegmentBar", "%1 percent").arg(percent);
    return QCoreApplication::translate("SegmentBar", "%1 percent, %2 of %3")
        .arg(percent)
        .arg(item.activeConnections())
        .arg(item.connectionLimit());
}

QSize pillSize(const QFont& font) {
    const QFontMetrics metrics(font);
    int widest = 0;
    for (const DownloadStatus status : statuses)
        widest = std::max(widest, metrics.horizontalAdvance(Theme::statusText(status)));
    return {widest + 2 * Theme::gap, metrics.height() + Theme::tight};
}

void paintStatusPill(QPainter& painter, const QRectF& rect, DownloadStatus status, const QPalette& palette,
                     bool filled) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (filled) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::statusFill(status, palette));
        painter.drawRoundedRect(rect, rect.height() / 2, rect.height() / 2);
    }
    painter.setPen(Theme::statusColor(status, palette));
    painter.drawText(rect, Qt::AlignCenter, Theme::statusText(status));
    painter.restore();
}

bool wantsReducedMotion() {
    return !QApplication::isEffectEnabled(Qt::UI_AnimateMenu) &&
           !QApplication::isEffectEnabled(Qt::UI_General);
}

} // namespace fetra::ItemPainting
