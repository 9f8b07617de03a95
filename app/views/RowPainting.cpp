#include "app/views/RowPainting.h"

#include "app/views/Theme.h"

#include <QPainterPath>

#include <algorithm>

namespace fetra::RowPainting {

namespace {

constexpr int barHeight = 4;

/// The end keeps its room, the beginning is shortened.
void paintLine(QPainter& painter, const QRectF& rect, Qt::LayoutDirection direction, const QString& begin,
               const QString& end, const QColor& endColor) {
    const QFontMetricsF metrics(painter.font());
    const qreal endWidth = end.isEmpty() ? 0 : metrics.horizontalAdvance(end) + Theme::gap;
    const QRectF rest =
        direction == Qt::RightToLeft ? rect.adjusted(endWidth, 0, 0, 0) : rect.adjusted(0, 0, -endWidth, 0);
    painter.drawText(rest, Qt::AlignLeading | Qt::AlignVCenter,
                     metrics.elidedText(begin, Qt::ElideMiddle, rest.width()));
    painter.setPen(endColor);
    painter.drawText(rect, Qt::AlignTrailing | Qt::AlignVCenter, end);
}

} // namespace

void paint(QPainter& painter, const QStyleOptionViewItem& option, const Row& row) {
    painter.save();
    if (option.state.testFlag(QStyle::State_HasFocus)) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Theme::accent(option.palette));
        painter.drawRoundedRect(QRectF(option.rect).adjusted(0.5, 0.5, -0.5, -0.5), Theme::radius / 2,
                                Theme::radius / 2);
    }
    QRectF line = QRectF(option.rect).adjusted(Theme::tight, Theme::tight, -Theme::tight, 0);
    painter.setFont(option.font);
    line.setHeight(QFontMetricsF(option.font).height());
    painter.setPen(option.palette.color(QPalette::WindowText));
    paintLine(painter, line, option.direction, row.title, row.titleEnd, row.titleEndColor);

    const QFont small = Theme::smaller(option.font);
    const QColor secondary = Theme::secondaryText(option.palette);
    painter.setFont(small);
    line.moveTop(line.bottom());
    line.setHeight(QFontMetricsF(small).height());
    painter.setPen(secondary);
    paintLine(painter, line, option.direction, row.detail, row.detailEnd, secondary);

    row.paintBar(QRectF(line.left(), line.bottom() + 2, line.width(), barHeight));
    painter.restore();
}

QSize size(const QStyleOptionViewItem& option) {
    const int lines = QFontMetrics(option.font).height() + QFontMetrics(Theme::smaller(option.font)).height();
    return {0, Theme::tight + lines + 2 + barHeight + Theme::gap};
}

void paintBar(QPainter& painter, const QRectF& rect, double fraction, const QColor& color,
              const QPalette& palette) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath outline;
    outline.addRoundedRect(rect, rect.height() / 2, rect.height() / 2);
    painter.fillPath(outline, Theme::track(palette));
    painter.setClipPath(outline);
    painter.fillRect(QRectF(rect.topLeft(), QSizeF(rect.width() * fraction, rect.height())), color);
    painter.restore();
}

} // namespace fetra::RowPainting
